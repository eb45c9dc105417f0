// What the handlers of a test have in common.
#pragma once

#include <chrono>

#include "common/acquisition/averager.h"
#include "common/acquisition/sine_correlator.h"
#include "common/msg/records/hmp_msg_head.h"

namespace Mos {

/// How long a request may hold the daemon: the host's patience, and the silence watchdog's.
inline constexpr auto kLongestRequest = std::chrono::seconds(8);

/// The trace of a test in the event log begins with the host's message.
void CaptureRequest(const Msg::HmpMsgHead& request);

/// Makes `reply` (room for an HmpErrorRep) a NAK of the one word `code`; -1, the result of a
/// handler that refuses.
int Refuse(void* reply, short code);
/// As Refuse, with the daemon's list of error words; `text` is for the log.
int RefuseWithList(void* reply, const char* text);

/// The correlators of both channels; null while acquisition is stopped.
struct Correlators {
  acquisition::SineCorrelator* g_fastFilter;
  acquisition::SineCorrelator* g_slowFilter;

  bool BothThere() const { return g_fastFilter != nullptr && g_slowFilter != nullptr; }
};
Correlators GetCorrelators();
/// The producer resets both before the next block that they take. Without a test their phasors are
/// gone at once.
void ResetCorrelators();

/// Status word of channel 0 or 1; 0 without a channel.
short ChannelStatus(int channel);
/// Those of both, or-ed.
short ChannelsStatus();

/// One line of the system's log.
[[gnu::format(printf, 1, 2)]] void TellSystem(const char* format, ...);

}  // namespace Mos

// The correlators of the measurement under way, and what the channels say of them.
#pragma once

#include "common/acquisition/acquisition.h"

namespace Mos {

/// The correlators of both channels; null while acquisition is stopped.
struct Correlators {
  acquisition::SineCorrelator* g_fastFilter = nullptr;
  acquisition::SineCorrelator* g_slowFilter = nullptr;

  bool BothThere() const { return g_fastFilter != nullptr && g_slowFilter != nullptr; }
};
/// Null: as while it is stopped.
Correlators GetCorrelators(acquisition::Acquisition* acquisition);
/// The producer resets both before the next block that they take. Without a test their phasors are
/// gone at once.
void ResetCorrelators(const Correlators& filters);

/// Status word of channel 0 or 1; 0 without a channel.
short ChannelStatus(int channel);
/// Those of both, or-ed.
short ChannelsStatus();

}  // namespace Mos

// The correlators of the measurement under way, with the status of their channels.
#pragma once

#include "common/acquisition/acquisition.h"

namespace Mos {

/// The correlators of both channels; null while acquisition is stopped.
struct Correlators {
  acquisition::SineCorrelator* g_fastFilter = nullptr;
  acquisition::SineCorrelator* g_slowFilter = nullptr;

  bool BothThere() const { return g_fastFilter != nullptr && g_slowFilter != nullptr; }
};
/// Null while acquisition is stopped.
Correlators GetCorrelators(acquisition::Acquisition* acquisition);
/// Both get the frequency of the signal, in hertz.
void FollowSignal(const Correlators& filters, float hertz);
/// A new length of the cycle starts the correlators of `acquisition`, which has them, from the
/// beginning.
void FitCorrelators(acquisition::Acquisition& acquisition, int samples);
/// The producer resets both before the next block that they take. Without a test their phasors are
/// cleared at once.
void ResetCorrelators(const Correlators& filters);

/// Status word of channel 0 or 1; 0 without a channel.
short ChannelStatus(int channel);
/// The status words of both channels, or-ed.
short ChannelsStatus();

}  // namespace Mos

// The correlators of the measurement under way, and what the channels say of them.
#pragma once

#include "common/acquisition/sine_correlator.h"

namespace Mos {

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

}  // namespace Mos

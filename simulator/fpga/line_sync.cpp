#include "simulator/fpga/line_sync.h"

#include "simulator/fpga/clock_tree.h"
#include "simulator/fpga/registers.h"

namespace simulator::fpga {
namespace {

/// The simulated line that a bit can put in the place of the real one; it is not modelled and has
/// no crossings.
const PowerLine kDeadLine(0);

std::uint16_t Word(std::int16_t value) { return static_cast<std::uint16_t>(value); }

}  // namespace

void LineSync::Advance(platform::Nanoseconds now) {
  const bool simulated = (*registers_.Read(kMiscCtrl) & kSimulatedLine) != 0;
  estimator_.Advance(now, simulated ? kDeadLine : line_);
  tracker_.Advance(now);
  Show();
}

void LineSync::Configure(platform::Nanoseconds now, double waveform_hertz) {
  const unsigned control = *registers_.Read(kLineSync);
  const unsigned waveform = *registers_.Read(kWformCtrl);
  const bool estimates = (control & kEstimatorOn) != 0;
  if (estimates && !estimates_) estimator_.Start(now, line_, control & kEstimatorCycles);
  if (!estimates) estimator_.Stop();
  estimates_ = estimates;

  TrackerSettings settings;
  settings.on = (control & kTrackerOn) != 0 && (waveform & kSyncOn) != 0 && waveform_hertz > 0;
  settings.interval = 2U << (control >> kTrackerRateShift & kTrackerRateMask);
  settings.most_pulses = *registers_.Read(kPulseLimit);
  settings.threshold = *registers_.Read(kOffsetThreshold);
  settings.line_hertz = line_.Hertz(now);
  settings.waveform_hertz = waveform_hertz;
  settings.clocks_per_cycle =
      ClockTree::kClocksPerWaveformSample * (*registers_.Read(kCycleLength) + 1.0);
  tracker_.Configure(settings);
  Show();
}

void LineSync::Show() {
  registers_.Drive(kLineSync,
                   static_cast<std::uint16_t>((estimator_.IsComplete() ? kEstimateComplete : 0) |
                                              (tracker_.IsLocked() ? kTrackerLocked : 0)),
                   kEstimateComplete | kTrackerLocked);
  registers_.Drive(kEstimateHigh, static_cast<std::uint16_t>(estimator_.Count() >> 16));
  registers_.Drive(kEstimateLow, static_cast<std::uint16_t>(estimator_.Count()));
  registers_.Drive(kCurrentOffset, Word(tracker_.Offset()));
  registers_.Drive(kOffsetDelta, Word(tracker_.Delta()));
  registers_.Drive(kPulseStatus, tracker_.Pulses());
}

}  // namespace simulator::fpga

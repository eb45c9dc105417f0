#include "simulator/fpga/waveform_generator.h"

#include "simulator/fpga/registers.h"

namespace simulator::fpga {

void WaveformGenerator::Advance(platform::Nanoseconds now) {
  const std::uint64_t ended = cycles_.Ended(now);
  if (ended > wanted_since_) negative_ = wanted_;
  ramp_.Advance(now, ended);
  Show();
}

void WaveformGenerator::Configure(platform::Nanoseconds now, double samples_per_second) {
  const unsigned control = *registers_.Read(kWformCtrl);
  const bool on = (control & kWaveformOn) != 0;
  if (on && !on_) cycles_.Restart(now);
  on_ = on;
  const double length = *registers_.Read(kCycleLength) + 1.0;
  cycles_.SetRate(now, on_ ? samples_per_second / length : 0);

  const std::uint64_t ended = cycles_.Ended(now);
  const bool wanted = (control & kPolarityWanted) != 0;
  if (wanted != wanted_ || ended < wanted_since_) wanted_since_ = ended;
  wanted_ = wanted;
  if (!on_) negative_ = wanted_;  // a wave that does not run has no end to wait for

  const unsigned ramp = *registers_.Read(kRampCtl);
  RampSettings settings;
  settings.mode = static_cast<RampMode>(ramp & kRampMode);
  settings.up = (ramp & kRampUp) != 0;
  settings.running = on_ && (control & kRampOn) != 0 && (ramp & kRampEnable) != 0;
  settings.waveform_on = on_;
  settings.target = *registers_.Read(kAmpTarget);
  settings.step_up = *registers_.Read(kStepUp);
  settings.step_down = *registers_.Read(kStepDown);
  settings.update_rate = *registers_.Read(kUpdateRate);
  settings.manual = *registers_.Read(kAmpManual);
  settings.timer = *registers_.Read(kAmpTimer);
  settings.hard_limit = *registers_.Read(kHardLimit);
  ramp_.Configure(settings, now, ended);
  Show();
}

void WaveformGenerator::Show() {
  registers_.Drive(kAmpValue, ramp_.Multiplier());
  registers_.Drive(kRampCtl, ramp_.Status(), kRampAtZero | kRampAtTarget | kRampBusy);
  registers_.Drive(kWformCtrl, negative_ ? kPolarityNow : 0, kPolarityNow);
}

}  // namespace simulator::fpga

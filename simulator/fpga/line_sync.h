// What the FPGA does with the mains, behind its registers: the frequency estimator and the tracker
// that keeps the waveform in step.
#pragma once

#include "simulator/fpga/line_estimator.h"
#include "simulator/fpga/line_tracker.h"
#include "simulator/fpga/power_line.h"
#include "simulator/register_file.h"

namespace simulator::fpga {

/// Threads: one at a time. `registers` outlives it.
class LineSync {
 public:
  LineSync(RegisterFile& registers, double line_hertz) : registers_(registers), line_(line_hertz) {}

  /// Continues to `now` as it was configured, and shows it in the status registers.
  void Advance(platform::Nanoseconds now);
  /// Takes over what the registers say.
  void Configure(platform::Nanoseconds now, double waveform_hertz);

  const PowerLine& Line() const { return line_; }
  /// Requires that Advance has reached `now`.
  void SetLine(platform::Nanoseconds now, double hertz, double drift) {
    line_.Set(now, hertz, drift);
  }

 private:
  void Show();

  RegisterFile& registers_;
  PowerLine line_;
  LineEstimator estimator_;
  LineTracker tracker_;
  bool estimates_ = false;
};

}  // namespace simulator::fpga

// The mains as the FPGA sees it: a frequency that drifts, and its zero crossings.
#pragma once

#include <optional>

#include "platform/clock.h"

namespace simulator::fpga {

/// Times must not go back. Threads: one at a time.
class PowerLine {
 public:
  static constexpr double kMostHertz = 1000;
  static constexpr double kMostDrift = 10;

  explicit PowerLine(double hertz) : hertz_(hertz) {}

  /// From now on, without a jump of phase. Hertz from 0 (no line) to kMostHertz; hertz a second.
  void Set(platform::Nanoseconds now, double hertz, double drift);
  /// Never below 0: a line that drifts there stops.
  double Hertz(platform::Nanoseconds now) const;
  double Drift() const { return drift_; }
  /// Cycles so far.
  double Cycles(platform::Nanoseconds now) const;
  /// When so many cycles have passed, in seconds of the clock; nothing when that never comes.
  /// Requires a number that had not been reached when the line was last set.
  std::optional<double> TimeOf(double cycles) const;

 private:
  double Passed(platform::Nanoseconds now) const;

  double hertz_;
  double drift_ = 0;
  double cycles_ = 0;
  platform::Nanoseconds since_{0};
};

}  // namespace simulator::fpga

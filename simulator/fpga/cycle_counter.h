// Cycles of something periodic whose frequency changes now and then.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace simulator::fpga {

/// Times must not go back. Threads: one at a time.
class CycleCounter {
 public:
  /// From now on; the cycle under way continues at the new pace. 0: stopped.
  void SetRate(platform::Nanoseconds now, double hertz) {
    if (hertz == hertz_) return;
    cycles_ = Cycles(now);
    since_ = now;
    hertz_ = hertz;
  }
  /// A cycle begins now.
  void Restart(platform::Nanoseconds now) {
    cycles_ = 0;
    since_ = now;
  }
  double Cycles(platform::Nanoseconds now) const {
    return cycles_ + hertz_ * std::chrono::duration<double>(now - since_).count();
  }
  /// Whole cycles that have ended. Time comes in whole nanoseconds, so an end counts as reached a
  /// billionth of a cycle early.
  std::uint64_t Ended(platform::Nanoseconds now) const {
    constexpr double kRounding = 1e-9;
    return static_cast<std::uint64_t>(Cycles(now) + kRounding);
  }
  double Hertz() const { return hertz_; }

 private:
  double cycles_ = 0;  ///< at since_
  platform::Nanoseconds since_{0};
  double hertz_ = 0;
};

}  // namespace simulator::fpga

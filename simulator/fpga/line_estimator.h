// Counts a 12.5 MHz clock over a number of line cycles, from one zero crossing to another.
//
// The counter runs from the moment that it is switched on and begins again at the first crossing.
// It is 24 bits wide: when it overflows, after 1.342 s, it stays 0 and the estimate never
// completes.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/clock.h"
#include "simulator/fpga/power_line.h"

namespace simulator::fpga {

/// Threads: one at a time. Advance must be called before the line changes.
class LineEstimator {
 public:
  static constexpr double kClockHertz = 12.5e6;
  static constexpr std::uint32_t kOverflow = 1U << 24;

  void Start(platform::Nanoseconds now, const PowerLine& line, unsigned cycles);
  void Stop() { state_ = State::kOff; }
  void Advance(platform::Nanoseconds now, const PowerLine& line);

  bool IsComplete() const { return state_ == State::kComplete; }
  std::uint32_t Count() const { return count_; }

 private:
  enum class State : std::uint8_t { kOff, kToFirstCrossing, kCounting, kComplete, kOverflown };

  void CountTo(double time);

  State state_ = State::kOff;
  unsigned cycles_ = 0;
  double next_ = 0;   ///< the crossing that is waited for, in cycles of the line
  double since_ = 0;  ///< where the count began, in seconds of the clock
  std::uint32_t count_ = 0;
};

}  // namespace simulator::fpga

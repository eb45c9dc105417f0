// How many pairs of samples there have been, by the converters' clock.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/clock.h"
#include "simulator/fraction.h"

namespace simulator::fpga {

/// Times must not go back. Threads: one at a time.
class SamplePacer {
 public:
  /// `speed` multiplies the pace, in steps of a millionth.
  explicit SamplePacer(double speed);

  /// Counts from 0, from now on.
  void Restart(platform::Nanoseconds now);
  /// Pairs a second from now on, nothing without a clock; the pair under way continues.
  void SetRate(platform::Nanoseconds now, const std::optional<Fraction>& hertz);
  /// Continues from `made` pairs, from now on: no clock came through since they were made.
  void Hold(platform::Nanoseconds now, std::uint64_t made) {
    pairs_ = Wide{made} << 64;
    since_ = now;
  }

  /// Pairs that are complete. Time comes in whole nanoseconds, so one counts a millionth early.
  std::uint64_t Due(platform::Nanoseconds now) const;
  /// When so many are complete; nothing without a clock, or when that is more than a century off.
  std::optional<platform::Nanoseconds> TimeOf(std::uint64_t pairs) const;

 private:
  /// In 2^-64 of a pair.
  Wide Passed(platform::Nanoseconds now) const;

  const Fraction speed_;
  std::optional<Fraction> hertz_;
  Wide step_ = 0;  ///< of a nanosecond, in 2^-(64 + step_shift_) of a pair; at least 64 bits of it
  int step_shift_ = 0;
  Wide pairs_ = 0;  ///< at since_, in 2^-64
  platform::Nanoseconds since_{0};
};

}  // namespace simulator::fpga

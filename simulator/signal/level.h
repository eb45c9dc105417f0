// A level that moves to each new target on a straight line.
#pragma once

#include <cmath>
#include <cstdint>

namespace simulator {

/// Positions are pairs of samples. Threads: one at a time.
class Level {
 public:
  double At(std::uint64_t position) const {
    return position >= End() ? target_ : from_ + Slope(position) * Passed(position);
  }
  /// Per pair, at this position.
  double Slope(std::uint64_t position) const { return position >= End() ? 0 : slope_; }
  /// Where the target is reached.
  std::uint64_t End() const { return end_; }

  /// From `position` on to `target`, by `rate` a pair; 0: at once.
  void Go(std::uint64_t position, double target, double rate) {
    from_ = At(position);
    start_ = position;
    target_ = target;
    const double way = target - from_;
    const bool ramps = rate > 0 && way != 0;
    slope_ = std::copysign(rate, way);
    end_ = position + (ramps ? static_cast<std::uint64_t>(std::ceil(std::abs(way) / rate)) : 0);
  }

 private:
  double Passed(std::uint64_t position) const { return static_cast<double>(position - start_); }

  double from_ = 0;
  double target_ = 0;
  double slope_ = 0;
  std::uint64_t start_ = 0;
  std::uint64_t end_ = 0;
};

}  // namespace simulator

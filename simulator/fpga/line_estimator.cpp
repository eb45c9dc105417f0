#include "simulator/fpga/line_estimator.h"

#include <cmath>

namespace simulator::fpga {
namespace {

/// Times are doubles: an interval of a whole number of ticks may come out a hair short.
constexpr double kRounding = 0.01;

double Seconds(platform::Nanoseconds time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

void LineEstimator::Start(platform::Nanoseconds now, const PowerLine& line, unsigned cycles) {
  state_ = State::kToFirstCrossing;
  cycles_ = cycles;
  next_ = std::floor(line.Cycles(now)) + 1;
  since_ = Seconds(now);
  count_ = 0;
}

void LineEstimator::CountTo(double time) {
  const double ticks = (time - since_) * kClockHertz + kRounding;
  if (ticks < kOverflow) {
    count_ = static_cast<std::uint32_t>(ticks);
  } else {
    count_ = 0;
    state_ = State::kOverflown;
  }
}

void LineEstimator::Advance(platform::Nanoseconds now, const PowerLine& line) {
  const double time = Seconds(now);
  while (state_ == State::kToFirstCrossing || state_ == State::kCounting) {
    const auto crossing = line.TimeOf(next_);
    const bool crossed = crossing && *crossing <= time;
    CountTo(crossed ? *crossing : time);
    if (!crossed || state_ == State::kOverflown) return;
    if (state_ == State::kCounting) {
      state_ = State::kComplete;
      return;
    }
    state_ = State::kCounting;
    since_ = *crossing;
    next_ += cycles_;
  }
}

}  // namespace simulator::fpga

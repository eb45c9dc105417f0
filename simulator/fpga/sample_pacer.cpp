#include "simulator/fpga/sample_pacer.h"

#include <algorithm>
#include <cmath>

namespace simulator::fpga {
namespace {

constexpr int kFractionBits = 64;
constexpr std::uint64_t kRounding = 18446744073710;  // a millionth of a pair
constexpr unsigned kNanosecondsPerSecond = 1000000000;
constexpr std::int64_t kLongestWait = 3000000000000000000;  // nanoseconds
constexpr unsigned kSpeedSteps = 1000000;
constexpr int kStepBits = 64;

}  // namespace

SamplePacer::SamplePacer(double speed)
    : speed_(static_cast<std::uint64_t>(std::llround(speed * kSpeedSteps)), kSpeedSteps) {}

void SamplePacer::Restart(platform::Nanoseconds now) {
  pairs_ = 0;
  since_ = now;
}

void SamplePacer::SetRate(platform::Nanoseconds now, const std::optional<Fraction>& hertz) {
  if (hertz == hertz_) return;
  pairs_ = Passed(now);
  since_ = now;
  hertz_ = hertz;
  step_ = 0;
  step_shift_ = 0;
  if (!hertz || hertz->Numerator() == 0) return;
  // Long division, a bit at a time; a fraction's terms leave the top bit free.
  const Fraction a_nanosecond = *hertz * speed_ / Fraction(kNanosecondsPerSecond);
  const Wide& divisor = a_nanosecond.Denominator();
  step_ = a_nanosecond.Numerator() / divisor;
  Wide rest = a_nanosecond.Numerator() % divisor;
  for (int bits = 0; bits < kFractionBits || step_ >> (kStepBits - 1) == 0; ++bits) {
    rest <<= 1;
    step_ = step_ << 1 | (rest >= divisor ? 1U : 0U);
    if (rest >= divisor) rest -= divisor;
    if (bits >= kFractionBits) ++step_shift_;
  }
}

Wide SamplePacer::Passed(platform::Nanoseconds now) const {
  const auto elapsed = (now - since_).count();
  if (elapsed >= 0) return pairs_ + (step_ * static_cast<std::uint64_t>(elapsed) >> step_shift_);
  const Wide less = step_ * static_cast<std::uint64_t>(-elapsed) >> step_shift_;
  return pairs_ - std::min<Wide>(pairs_, less);
}

std::uint64_t SamplePacer::Due(platform::Nanoseconds now) const {
  return static_cast<std::uint64_t>((Passed(now) + kRounding) >> kFractionBits);
}

std::optional<platform::Nanoseconds> SamplePacer::TimeOf(std::uint64_t pairs) const {
  if (step_ == 0) return std::nullopt;
  const Wide wanted = Wide{pairs} << kFractionBits;
  if (wanted <= pairs_ + kRounding) return since_;
  const Wide missing = wanted - kRounding - pairs_;
  const Wide whole = missing / step_;
  if (whole > Wide{static_cast<std::uint64_t>(kLongestWait)} >> step_shift_) return std::nullopt;
  const Wide rest = missing % step_ << step_shift_;
  const Wide wait = (whole << step_shift_) + (rest + step_ - 1) / step_;
  return since_ + platform::Nanoseconds(static_cast<std::int64_t>(wait));
}

}  // namespace simulator::fpga

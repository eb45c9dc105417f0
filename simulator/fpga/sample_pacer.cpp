#include "simulator/fpga/sample_pacer.h"

#include <algorithm>
#include <cmath>

namespace simulator::fpga {
namespace {

constexpr long double kRounding = 1e-6L;  // pairs
constexpr long double kNanosecondsPerSecond = 1e9L;
constexpr long double kLongestWait = 3e18L;  // nanoseconds

}  // namespace

void SamplePacer::Restart(platform::Nanoseconds now) {
  pairs_ = 0;
  since_ = now;
}

void SamplePacer::SetRate(platform::Nanoseconds now, const std::optional<Fraction>& hertz) {
  if (hertz == hertz_) return;
  pairs_ = Passed(now);
  since_ = now;
  hertz_ = hertz;
  a_nanosecond_ = 0;
  if (!hertz) return;
  a_nanosecond_ = static_cast<Real>(hertz->Numerator()) / static_cast<Real>(hertz->Denominator()) *
                  static_cast<Real>(speed_) / kNanosecondsPerSecond;
}

SamplePacer::Real SamplePacer::Passed(platform::Nanoseconds now) const {
  return pairs_ + a_nanosecond_ * static_cast<Real>((now - since_).count());
}

std::uint64_t SamplePacer::Due(platform::Nanoseconds now) const {
  return static_cast<std::uint64_t>(std::max<Real>(Passed(now) + kRounding, 0));
}

std::optional<platform::Nanoseconds> SamplePacer::TimeOf(std::uint64_t pairs) const {
  if (a_nanosecond_ <= 0) return std::nullopt;
  const Real wait = std::ceil((static_cast<Real>(pairs) - kRounding - pairs_) / a_nanosecond_);
  if (wait > kLongestWait) return std::nullopt;
  return since_ + platform::Nanoseconds(static_cast<std::int64_t>(std::max<Real>(wait, 0)));
}

}  // namespace simulator::fpga

#include "simulator/fpga/power_line.h"

#include <algorithm>
#include <cmath>

namespace simulator::fpga {

/// Seconds since the line was set, as far as it moves at all.
double PowerLine::Passed(platform::Nanoseconds now) const {
  const double seconds = std::chrono::duration<double>(now - since_).count();
  return drift_ < 0 ? std::min(seconds, -hertz_ / drift_) : seconds;
}

void PowerLine::Set(platform::Nanoseconds now, double hertz, double drift) {
  cycles_ = Cycles(now);
  since_ = now;
  hertz_ = hertz;
  drift_ = drift;
}

double PowerLine::Hertz(platform::Nanoseconds now) const { return hertz_ + drift_ * Passed(now); }

double PowerLine::Cycles(platform::Nanoseconds now) const {
  const double passed = Passed(now);
  return cycles_ + hertz_ * passed + drift_ * passed * passed / 2;
}

std::optional<double> PowerLine::TimeOf(double cycles) const {
  const double wanted = cycles - cycles_;
  const double root = hertz_ * hertz_ + 2 * drift_ * wanted;
  const double speed = root < 0 ? 0 : hertz_ + std::sqrt(root);
  if (root < 0 || speed <= 0) return std::nullopt;
  return std::chrono::duration<double>(since_).count() + 2 * wanted / speed;
}

}  // namespace simulator::fpga

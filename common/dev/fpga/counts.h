// Numbers as counts that a register can hold.
#pragma once

#include <algorithm>
#include <limits>

#include "common/dev/fpga/fpga_registers.h"

namespace Dev {

/// Without the fraction. A number that does not fit becomes the nearest limit, and NaN becomes 0.
constexpr int ToCounts(double value) {
  if (value != value) return 0;
  return static_cast<int>(std::clamp(value, double{std::numeric_limits<int>::min()},
                                     double{std::numeric_limits<int>::max()}));
}

/// As the 16 bits of a register. A number that does not fit becomes the nearest limit.
constexpr unsigned ToRegister(int counts) {
  return static_cast<unsigned>(std::clamp(counts, 0, static_cast<int>(kRegisterMask)));
}

/// One of `divider` equal steps, or the whole number when the divider is 0.
constexpr int StepOf(int counts, int divider) { return divider == 0 ? counts : counts / divider; }

}  // namespace Dev

// Numbers as counts that a register can hold.
#pragma once

#include <algorithm>
#include <limits>

#include "common/dev/fpga/fpga_registers.h"

namespace Dev {

/// Without its fraction; what does not fit is held at the nearest end, and NaN is 0.
constexpr int ToCounts(double value) {
  if (value != value) return 0;
  return static_cast<int>(std::clamp(value, double{std::numeric_limits<int>::min()},
                                     double{std::numeric_limits<int>::max()}));
}

/// As a register's 16 bits hold it; what does not fit is held at the nearest end.
constexpr unsigned ToRegister(int counts) {
  return static_cast<unsigned>(std::clamp(counts, 0, static_cast<int>(kRegisterMask)));
}

/// A step: one of `divider` equal ones, or all of it when there is no divider.
constexpr int StepOf(int counts, int divider) { return divider == 0 ? counts : counts / divider; }

}  // namespace Dev

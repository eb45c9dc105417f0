// An exact number a + b/c: what a sampling clock that must not drift is worked out in.
#pragma once

#include <cstdint>

struct m3x64_num {
  std::uint64_t a = 0;
  std::uint64_t b = 0;
  std::uint64_t c = 1;  ///< never 0 in a number that is one

  friend bool operator==(const m3x64_num&, const m3x64_num&) = default;
};

/// The nearest double, where exactness is not needed; a fraction over 0 counts as none.
constexpr double ValueOf(const m3x64_num& number) {
  const double whole = static_cast<double>(number.a);
  if (number.c == 0) return whole;
  return whole + static_cast<double>(number.b) / static_cast<double>(number.c);
}

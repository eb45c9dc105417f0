// An exact number a + b/c, for the computation of a sampling clock that must not drift.
#pragma once

#include <cstdint>

struct m3x64_num {
  std::uint64_t a = 0;
  std::uint64_t b = 0;
  std::uint64_t c = 1;  ///< never 0 in a valid number

  friend bool operator==(const m3x64_num&, const m3x64_num&) = default;
};

/// The nearest double, for use without exactness; a fraction over 0 counts as 0.
constexpr double ValueOf(const m3x64_num& number) {
  const double whole = static_cast<double>(number.a);
  if (number.c == 0) return whole;
  return whole + static_cast<double>(number.b) / static_cast<double>(number.c);
}

#include "simulator/fraction.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdio>

namespace simulator {
namespace {

constexpr int kWordBits = 64;
constexpr int kMostBits = 127;

int Bits(Wide value) {
  const auto high = static_cast<std::uint64_t>(value >> kWordBits);
  const auto low = static_cast<std::uint64_t>(value);
  if (high != 0) return 2 * kWordBits - __builtin_clzll(high);
  return low == 0 ? 0 : kWordBits - __builtin_clzll(low);
}

Wide CommonDivisor(Wide x, Wide y) {
  while (y != 0) {
    const Wide rest = x % y;
    x = y;
    y = rest;
  }
  return x;
}

/// Takes what both have in common out of them.
void Cancel(Wide& x, Wide& y) {
  const Wide common = CommonDivisor(x, y);
  if (common <= 1) return;
  x /= common;
  y /= common;
}

/// Drops low bits of the wider pair until both products fit.
void MakeRoom(Wide& x_over, Wide& x_under, Wide& y_over, Wide& y_under) {
  while (Bits(x_over) + Bits(y_over) > kMostBits || Bits(x_under) + Bits(y_under) > kMostBits) {
    const bool first = Bits(x_over) + Bits(x_under) >= Bits(y_over) + Bits(y_under);
    Wide& over = first ? x_over : y_over;
    Wide& under = first ? x_under : y_under;
    over >>= 1;
    under = std::max<Wide>(under >> 1, 1);
  }
}

}  // namespace

std::string WideText(Wide value) {
  std::string text;
  do {
    text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
    value /= 10;
  } while (value != 0);
  return text;
}

Fraction::Fraction(Wide numerator, Wide denominator)
    : numerator_(numerator), denominator_(denominator) {
  assert(denominator_ != 0);
  Cancel(numerator_, denominator_);
}

double Fraction::Value() const {
  return static_cast<double>(numerator_) / static_cast<double>(denominator_);
}

std::string Fraction::Text(const char* unit) const {
  if (denominator_ == 1) return WideText(numerator_) + " " + unit;
  char value[48];
  std::snprintf(value, sizeof value, " = %.12g %s", Value(), unit);
  return WideText(numerator_) + "/" + WideText(denominator_) + value;
}

Fraction operator*(Fraction x, Fraction y) {
  Cancel(x.numerator_, y.denominator_);
  Cancel(y.numerator_, x.denominator_);
  MakeRoom(x.numerator_, x.denominator_, y.numerator_, y.denominator_);
  return Fraction(x.numerator_ * y.numerator_, x.denominator_ * y.denominator_);
}

Fraction operator/(const Fraction& x, const Fraction& y) {
  assert(y.numerator_ != 0);
  return x * Fraction(y.denominator_, y.numerator_);
}

}  // namespace simulator

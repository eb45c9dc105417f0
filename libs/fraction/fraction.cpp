#include "libs/fraction/fraction.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <utility>

namespace fraction {
namespace {

constexpr int kWordBits = 64;
constexpr int kMostBits = 2 * kWordBits - 1;

int Bits(const Wide& value) {
  const auto high = static_cast<std::uint64_t>(value >> kWordBits);
  if (high != 0) return kWordBits + static_cast<int>(std::bit_width(high));
  return static_cast<int>(std::bit_width(static_cast<std::uint64_t>(value)));
}

/// Takes what both have in common out of them.
void Cancel(Wide& x, Wide& y) {
  Wide common = x;
  Wide rest = y;
  while (rest != 0) common = std::exchange(rest, common % rest);
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

std::string Digits(Wide value) {
  std::string text;
  do {
    text.push_back(static_cast<char>('0' + static_cast<int>(value % 10)));
    value /= 10;
  } while (value != 0);
  std::ranges::reverse(text);
  return text;
}

}  // namespace

Fraction::Fraction(Wide numerator, Wide denominator)
    : numerator_(numerator), denominator_(denominator) {
  assert(denominator_ != 0);
  Cancel(numerator_, denominator_);
}

double Fraction::Value() const {
  return static_cast<double>(numerator_) / static_cast<double>(denominator_);
}

std::string Fraction::Text() const {
  return denominator_ == 1 ? Digits(numerator_) : Digits(numerator_) + "/" + Digits(denominator_);
}

Fraction operator*(Fraction x, Fraction y) {
  const auto exact = Product(x, y);
  if (exact && Bits(exact->numerator_) <= kMostBits && Bits(exact->denominator_) <= kMostBits) {
    return *exact;
  }
  Cancel(x.numerator_, y.denominator_);
  Cancel(y.numerator_, x.denominator_);
  MakeRoom(x.numerator_, x.denominator_, y.numerator_, y.denominator_);
  return {x.numerator_ * y.numerator_, x.denominator_ * y.denominator_};
}

Fraction operator/(const Fraction& x, const Fraction& y) {
  assert(y.numerator_ != 0);
  return x * Fraction(y.denominator_, y.numerator_);
}

std::optional<Fraction> Product(const Fraction& x, const Fraction& y) {
  const Fraction first(x.Numerator(), y.Denominator());
  const Fraction second(y.Numerator(), x.Denominator());
  Wide numerator;
  Wide denominator;
  if (!Multiply(first.Numerator(), second.Numerator(), numerator) ||
      !Multiply(first.Denominator(), second.Denominator(), denominator)) {
    return std::nullopt;
  }
  return Fraction(numerator, denominator);
}

std::optional<Fraction> Quotient(const Fraction& x, const Fraction& y) {
  if (y.Numerator() == 0) return std::nullopt;
  return Product(x, {y.Denominator(), y.Numerator()});
}

}  // namespace fraction

#include "host/clock/fraction.h"

#include <fmt/format.h>

#include <utility>

namespace host {
namespace {

Wide Gcd(Wide x, Wide y) {
  while (y != 0) x = std::exchange(y, x % y);
  return x;
}

}  // namespace

std::string Fraction::Text() const {
  return denominator == 1 ? fmt::format("{}", numerator)
                          : fmt::format("{}/{}", numerator, denominator);
}

double Fraction::Value() const {
  return static_cast<double>(numerator) / static_cast<double>(denominator);
}

std::optional<Fraction> Product(const Fraction& x, const Fraction& y) {
  const Wide first = Gcd(x.numerator, y.denominator);
  const Wide second = Gcd(y.numerator, x.denominator);
  Fraction product;
  if (__builtin_mul_overflow(x.numerator / first, y.numerator / second, &product.numerator) ||
      __builtin_mul_overflow(x.denominator / second, y.denominator / first, &product.denominator)) {
    return std::nullopt;
  }
  return product;
}

std::optional<Fraction> Quotient(const Fraction& x, const Fraction& y) {
  if (y.numerator == 0) return std::nullopt;
  return Product(x, {y.denominator, y.numerator});
}

}  // namespace host

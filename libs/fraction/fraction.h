// Exact non-negative fractions: the frequencies that dividers make from a reference.
#pragma once

#include <optional>
#include <string>

#include "libs/fraction/wide.h"

namespace fraction {

/// Always in lowest terms.
class Fraction {
 public:
  constexpr Fraction() = default;
  /// Requires a denominator that is not 0.
  Fraction(Wide numerator, Wide denominator = 1);
  /// The mixed number n.a + n.b / n.c, which always fits.
  template <class Mixed>
  static Fraction Of(const Mixed& n) {
    return {Wide{n.a} * n.c + n.b, n.c};
  }

  const Wide& Numerator() const { return numerator_; }
  const Wide& Denominator() const { return denominator_; }
  double Value() const;
  /// "N/D", or "N" for a whole number.
  std::string Text() const;

  /// Rounded when a term needs more than 127 bits; what the clock chip makes from legal registers
  /// never does.
  friend Fraction operator*(Fraction x, Fraction y);
  /// Requires a divisor above 0.
  friend Fraction operator/(const Fraction& x, const Fraction& y);
  friend bool operator==(const Fraction& x, const Fraction& y) {
    return x.numerator_ == y.numerator_ && x.denominator_ == y.denominator_;
  }

 private:
  Wide numerator_ = 0;
  Wide denominator_ = 1;
};

/// Nothing when a term does not fit, and for a divisor of 0.
std::optional<Fraction> Product(const Fraction& x, const Fraction& y);
std::optional<Fraction> Quotient(const Fraction& x, const Fraction& y);

}  // namespace fraction

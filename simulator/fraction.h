// Exact positive numbers: the frequencies that dividers make from a reference.
#pragma once

#include <string>

namespace simulator {

__extension__ using Wide = unsigned __int128;

std::string WideText(Wide value);

/// Always in lowest terms. A result whose terms need more than 127 bits is rounded; what the clock
/// chip makes from legal registers never does.
class Fraction {
 public:
  constexpr Fraction() = default;
  /// Requires a denominator that is not 0.
  explicit Fraction(Wide numerator, Wide denominator = 1);

  Wide Numerator() const { return numerator_; }
  Wide Denominator() const { return denominator_; }
  double Value() const;
  /// "N/D = x UNIT", or "N UNIT" for a whole number.
  std::string Text(const char* unit) const;

  friend Fraction operator*(Fraction x, Fraction y);
  /// Requires a divisor above 0.
  friend Fraction operator/(const Fraction& x, const Fraction& y);
  friend bool operator==(const Fraction&, const Fraction&) = default;

 private:
  Wide numerator_ = 0;
  Wide denominator_ = 1;
};

}  // namespace simulator

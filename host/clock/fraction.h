// A non-negative fraction of 128-bit terms: exact where a plan's own numbers end.
#pragma once

#include <optional>
#include <string>

#include "common/msg/m3x64_num.h"

namespace host {

__extension__ using Wide = unsigned __int128;

struct Fraction {
  Wide numerator = 0;
  Wide denominator = 1;

  static Fraction Of(const m3x64_num& n) { return {Wide{n.a} * n.c + n.b, n.c}; }
  /// "N/D", or "N" for a whole number.
  std::string Text() const;
  double Value() const;
};

/// Nothing when a term does not fit.
std::optional<Fraction> Product(const Fraction& x, const Fraction& y);
std::optional<Fraction> Quotient(const Fraction& x, const Fraction& y);

}  // namespace host

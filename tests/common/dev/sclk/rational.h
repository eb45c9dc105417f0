// Exact numbers of any size: what the results of the clock plan are compared with.
#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <cstdint>

#include "common/msg/records/m3x64_num.h"

namespace sclk_test {

// without expression templates, so that every intermediate result is a number
template <class Backend>
using Number = boost::multiprecision::number<Backend, boost::multiprecision::et_off>;
using Integer = Number<boost::multiprecision::cpp_int_backend<>>;
using Rational = Number<boost::multiprecision::cpp_rational_backend>;

inline Rational Ratio(const Integer& numerator, const Integer& denominator) {
  return Rational(numerator) / Rational(denominator);
}

inline Rational ToRational(const m3x64_num& n) { return Rational(n.a) + Ratio(n.b, n.c); }

inline Integer Floor(const Rational& x) { return numerator(x) / denominator(x); }

/// To the nearest integer, halves upwards.
inline Integer Round(const Rational& x) { return Floor(x + Ratio(1, 2)); }

inline Rational Power(const Rational& x, int n) {
  Rational result = 1;
  for (int i = 0; i < n; ++i) result *= x;
  return result;
}

}  // namespace sclk_test

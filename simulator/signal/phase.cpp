#include "simulator/signal/phase.h"

#include <cmath>
#include <numbers>

namespace simulator {
namespace {

constexpr long double kTurn = 18446744073709551616.0L;  // 2^64
constexpr double kDegreesPerTurn = 360;
constexpr int kBits = 64;

}  // namespace

Phase PhaseOf(long double cycles) {
  const long double part = cycles - std::floor(cycles);
  const long double phase = std::floor(part * kTurn + 0.5L);
  return phase >= kTurn ? 0 : static_cast<Phase>(phase);
}

Phase PhaseOf(const Fraction& ratio) {
  Wide rest = ratio.Numerator() % ratio.Denominator();
  // Long division, a bit at a time: the quotient's 64 bits behind the point. A fraction's terms
  // leave the top bit free.
  Phase phase = 0;
  for (int bit = 0; bit < kBits; ++bit) {
    rest <<= 1;
    phase = phase << 1 | (rest >= ratio.Denominator() ? 1U : 0U);
    if (rest >= ratio.Denominator()) rest -= ratio.Denominator();
  }
  return phase;
}

Phase PhaseOfDegrees(double degrees) {
  return PhaseOf(static_cast<long double>(degrees) / kDegreesPerTurn);
}

std::complex<double> Unit(Phase phase) {
  const double turns =
      static_cast<double>(static_cast<std::int64_t>(phase)) / static_cast<double>(kTurn);
  return std::polar(1.0, 2 * std::numbers::pi * turns);
}

}  // namespace simulator

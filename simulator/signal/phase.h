// Phases in 1/2^64 of a cycle. They wrap by themselves and add up exactly, so a phase that is
// stepped once a sample has not drifted after hours.
#pragma once

#include <complex>
#include <cstdint>

#include "simulator/fraction.h"

namespace simulator {

using Phase = std::uint64_t;

/// Of so many cycles, whatever their number and sign.
Phase PhaseOf(long double cycles);
/// The same for a ratio, rounded down; exact where a power of two divides.
Phase PhaseOf(const Fraction& ratio);
Phase PhaseOfDegrees(double degrees);

/// e^(j 2 pi phase).
std::complex<double> Unit(Phase phase);

}  // namespace simulator

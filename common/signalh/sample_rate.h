// The number of samples in a cycle of the test signal, and the filter that it depends on.
//
// The rules depend on the shared test (signal_shared.h); frequencies are in hertz. Threads: those
// that set up tests.
#pragma once

#include <array>

namespace signalh {

/// 3 dB bandwidth by filter index, Hz; 0 for an index without a filter.
inline constexpr std::array<float, 16> Filter3dB_bandwidth = {
    0, 0, 7500, 0.158F, 0.5F, 1.58F, 5, 15.8F, 50, 158, 500, 1580, 5000, 15800, 50000, 0};

/// The filter index that a test at `freq` takes; changes nothing.
int DetermineFilter(float freq);
/// Twice the bandwidth of the present test's filter; 0 without a bandwidth.
float GetNyquistFreq();
/// True at the frequency whose samples are never rounded up: 0.0001 Hz.
bool Exceptions(float freq);

/// Samples per cycle: a power of two, at least 16; -1 for a frequency that is not above 0.
/// `interrupts` is the number of pages of 512 sample pairs wanted a second.
int CalculateSamplesPerCyc(float freq, int interrupts);

}  // namespace signalh

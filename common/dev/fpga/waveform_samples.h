// The samples of the waveforms, full scale 32767; the amplitude multiplier scales them.
//
// Threads: plain functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Dev {

/// Samples of one high-speed cycle.
inline constexpr std::size_t kHighSpeedCycle = 0x40000;
/// Samples of the run-in before it; the last of them overlaps the first of the cycle.
inline constexpr std::size_t kPreCycleSamples = 0x8001;
inline constexpr std::size_t kPreCycleOffset = 0x8000;

/// One cycle of a sine, rounded to nearest; the size is a power of 2 from 4.
void FillSine(std::span<std::int16_t> cycle);
/// A sine whose period shrinks from 65536 samples on, faded out from 0.6 to 0.9 of the cycle. Both
/// the chirp and the sweep fill kHighSpeedCycle samples and begin downwards.
void FillChirp(std::span<std::int16_t> cycle);
/// A sine whose frequency grows linearly from 2^-16 to 2^-13 cycles per sample.
void FillSweep(std::span<std::int16_t> cycle);

/// Numbers of the run-in: it begins at `kPreCycleSpeed` times the frequency of the sine, falls to
/// that exponentially, and fades up. The speed is the value for which its phase ends at one turn,
/// within a count of the sine that follows.
struct PreCycleParams {
  double ratio;  ///< of the frequencies, per cycle of the sine
  double log_ratio;
  double start_phase;
};
inline constexpr double kPreCycleLength = 0.125;  ///< cycles of the sine
inline constexpr double kPreCycleSpeed = 1.0 * 27.518892892893;
PreCycleParams MakePreCycleParams();
/// Fills kPreCycleSamples samples.
void FillPreCycle(std::span<std::int16_t> samples, const PreCycleParams& params);

}  // namespace Dev

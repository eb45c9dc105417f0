// The arithmetic of a run of sample pairs, in the widest form that the processor has.
//
// Sine and cosine come from the C library for every pair: one call a value in the plain form, its
// vector functions, which take several values a call, in the others. The forms differ in the order
// of additions and in the last bits of the library's functions.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <span>

namespace acquisition {

/// Figures of the samples of one channel, in sample counts.
struct SampleSums {
  std::int64_t sum;
  int max;
  int min;
};

/// A run of pairs and where its products go.
struct PairRun {
  const int* words;  ///< two a pair, channel 1 first
  int pairs;
  double phase_rate;   ///< rad a pair
  std::int64_t first;  ///< place of the first pair in its cycle
  double* sines[2];    ///< by channel: sample times sine, by pair
  double* cosines[2];
};

/// Sine and cosine products of both channels.
inline constexpr int kProductArrays = 4;

struct CorrelatorKernel {
  const char* name;
  bool (*supported)();  ///< by this processor
  /// Writes the products, adds them to `sine_sums` and `cosine_sums` and the samples to `samples`,
  /// each an array by channel. A sample is its word divided by 256, truncated towards zero.
  void (*correlate)(const PairRun& run, double* sine_sums, double* cosine_sums,
                    SampleSums* samples);
  /// The sums of kProductArrays arrays of `count` numbers each.
  void (*sum)(const double* const* arrays, int count, double* sums);
  /// By channel the sum of the squared distances of the words, shifted right by 8, from `average`.
  void (*squares)(const int* words, int pairs, const int* average, double* sums);
  /// All bits that are set in any of the words.
  unsigned (*bits)(const int* words, int pairs);
};

/// All that were built, the plain one first, the widest last.
std::span<const CorrelatorKernel> CorrelatorKernels();
/// The widest that this processor supports.
const CorrelatorKernel& BestCorrelatorKernel();

}  // namespace acquisition

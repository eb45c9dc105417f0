// The figures of a whole cycle of the signal, combined from those of its blocks: at low frequency
// one cycle spans several blocks. A set is one block's figures; `sets` is the number of them in a
// cycle.
//
// Threads: none of its own; the channel guards it.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

namespace AcquisitionSystem {

/// Conditions of a block, a byte each: fault, over range, CPLD busy (sample_word.h).
struct sample_block_status {
  static constexpr std::uint8_t kDetected = 4;   ///< occurred in the block
  static constexpr std::uint8_t kCleared = 2;    ///< ended within it
  static constexpr std::uint8_t kPersisted = 1;  ///< holds at the last sample

  std::uint8_t overrange = 0;
  std::uint8_t fault = 0;
  std::uint8_t cpld_busy = 0;

  /// All of them: over range in the lowest byte, then fault, then busy.
  std::uint32_t Word() const {
    return overrange | std::uint32_t{fault} << 8 | std::uint32_t{cpld_busy} << 16;
  }
};

/// The value of a figure before the first measurement.
inline constexpr std::int64_t kNoMinimum = std::numeric_limits<std::int32_t>::max();
inline constexpr std::int64_t kNoMaximum = std::numeric_limits<std::int32_t>::min();
/// The largest amplitude while it is not known.
inline constexpr std::int64_t kNoAmplitude = 0xFFFFFF;

/// Sample counts.
struct ACCUMULATED_STATS {
  std::int64_t min_sample = kNoMinimum;
  std::int64_t max_sample = kNoMaximum;
  std::int64_t avg_sample = kNoMaximum;
  std::int64_t max_amplitude = kNoMaximum;
  sample_block_status status{};
};

class FullCycle {
 public:
  static constexpr int kSets = 32;  ///< that the ring holds

  void Reset();
  /// Adds a block's set; a set that is not `valid` starts the count again.
  void Update(const ACCUMULATED_STATS& set, bool valid, int sets);
  /// One more set than a cycle has been seen.
  bool Available(int sets) const {
    return full_cycle_sample_set_counter >= static_cast<std::int64_t>(sets) + 1;
  }

  std::int64_t Average(int sets) const;
  std::int64_t Minimum(int sets) const;
  std::int64_t Maximum(int sets) const;
  /// The largest distance from the average; kNoAmplitude while there is none.
  std::int64_t MaxAmplitude(int sets) const;
  /// Bit 1: at the upper end of the converter, bit 0: at the lower.
  int Clipping(int sets) const;
  /// Peak to peak, as a fraction of the converter's range.
  double PercentOfRange(int sets) const;
  /// A whole cycle without a figure at the ends of 32 bits.
  bool InRange(int sets) const;

  std::int64_t Count() const { return full_cycle_sample_set_counter; }

 private:
  struct Extremes {
    std::int64_t min, max;
  };
  Extremes GetExtremes(int sets) const;

  // The sets of a cycle are at the front; the index is the count under the mask sets - 1.
  std::array<ACCUMULATED_STATS, kSets> full_cycle{};
  ACCUMULATED_STATS aggregate_stats{};  // since the last reset; for cycles of several sets
  std::int64_t full_cycle_sample_set_counter = 0;  // of the valid sets in a row
};

}  // namespace AcquisitionSystem

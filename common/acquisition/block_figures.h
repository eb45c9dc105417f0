// Figures of the samples of one block.
#pragma once

#include <array>

namespace acquisition {

/// Of one channel, in sample counts.
struct BlockFigures {
  int sample_count = 0;  ///< samples in the block
  int min_sample = 0;
  int max_sample = 0;
  int avg_sample = 0;
  int max_amplitude = 0;  ///< largest distance from the average
  double variance = 0;    ///< about the average, of a sample (divided by count - 1)
};

using PairFigures = std::array<BlockFigures, 2>;  ///< by channel

}  // namespace acquisition

// The slow filter's products of a block's samples with the reference, which are all that the fast
// filter needs, and the block's figures.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "common/acquisition/block_figures.h"

namespace acquisition {

/// Threads: the producer.
struct BlockProducts {
  /// The sums of a run of pairs.
  struct Run {
    int first = 0;
    int pairs = 0;
    std::array<double, 2> sines{};  ///< by channel
    std::array<double, 2> cosines{};
  };

  explicit BlockProducts(std::size_t most_pairs) {
    for (auto* products : {&saccptr, &caccptr}) {
      for (auto& channel : *products) channel.resize(most_pairs);
    }
    runs.reserve(most_pairs);
  }
  int Capacity() const { return static_cast<int>(saccptr[0].size()); }

  int pairs = 0;                               ///< in the block; 0 for one that was not summed
  std::array<std::vector<double>, 2> saccptr;  ///< by channel: sample times sine, by pair
  std::array<std::vector<double>, 2> caccptr;  ///< sample times cosine
  std::vector<Run> runs;  ///< those that the slow filter has summed, one after the other
  PairFigures figures;
};

}  // namespace acquisition

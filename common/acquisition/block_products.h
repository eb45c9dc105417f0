// The products of a block's samples with the reference, as the slow filter leaves them for the fast
// one.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

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

  explicit BlockProducts(std::size_t pairs) {
    for (auto* products : {&saccptr, &caccptr}) {
      for (auto& channel : *products) channel.resize(pairs);
    }
    runs.reserve(pairs);
  }
  int pairs() const { return static_cast<int>(saccptr[0].size()); }

  std::array<std::vector<double>, 2> saccptr;  ///< by channel: sample times sine, by pair
  std::array<std::vector<double>, 2> caccptr;  ///< sample times cosine
  std::vector<Run> runs;  ///< those that the slow filter has summed, one after the other
};

}  // namespace acquisition

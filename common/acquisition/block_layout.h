// Sizes that follow from the number of pairs in a block.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/acquisition/sample_pool.h"
#include "common/acquisition/sample_word.h"
#include "platform/fpga_driver.h"

namespace acquisition {

inline constexpr int kDefaultPairs = 1024;

/// A block has whole pages. The ring and a chunk of the pool hold whole numbers of blocks.
struct BlockLayout {
  int pairs = kDefaultPairs;

  std::size_t Bytes() const { return static_cast<std::size_t>(pairs) * kPairBytes; }
  std::uint32_t Pages() const { return static_cast<std::uint32_t>(Bytes() / kPageBytes); }

  static bool IsPossible(int pairs) {
    const BlockLayout layout{pairs};
    return pairs > 0 && layout.Bytes() % kPageBytes == 0 &&
           Dev::kSampleRingBytes % layout.Bytes() == 0 &&
           SamplePool::kChunkBytes % layout.Bytes() == 0;
  }
};

}  // namespace acquisition

// The pool that sample blocks are copied to: the last 16 MiB of the stream, for everything that
// looks at samples later than the producer.
//
// Blocks follow one another through the chunks and begin again at the first one. The producer
// writes; a reader keeps well behind it and asks Pages() how far it has come.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace acquisition {

class SamplePool {
 public:
  static constexpr std::size_t kChunks = 4;
  static constexpr std::size_t kChunkBytes = 0x400000;

  /// -1 when there is no memory. Once.
  int Allocate();
  /// Begins at the first chunk with blocks of `block_bytes`, a divisor of kChunkBytes that is a
  /// multiple of kPageBytes. While nobody reads or writes.
  void Begin(std::size_t block_bytes);

  /// The place of the next block; Published then makes it visible to the readers.
  int* Next();
  /// True when the block was the last of its chunk.
  bool Published();

  std::size_t BlocksPerChunk() const { return kChunkBytes / block_bytes_; }
  /// The chunk of the next block.
  std::size_t GetPoolIndex() const { return g_mempoolindex; }

  /// Pages of kPageBytes published since Begin.
  std::uint64_t Pages() const { return pages_.load(std::memory_order_acquire); }
  /// Page `page` of the stream since Begin. Its contents are valid while Pages() is less than
  /// kPages beyond it.
  const int* Page(std::uint64_t page) const;
  static constexpr std::uint64_t kPages = kChunks * kChunkBytes / 4096;

 private:
  std::array<std::unique_ptr<char[]>, kChunks> g_mempool;
  std::size_t block_bytes_ = 8192;
  std::size_t in_chunk_ = 0;  ///< blocks of the present chunk that are filled
  std::atomic<std::size_t> g_mempoolindex{0};
  std::atomic<std::uint64_t> pages_{0};
};

}  // namespace acquisition

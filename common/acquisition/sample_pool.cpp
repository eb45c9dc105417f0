#include "common/acquisition/sample_pool.h"

#include <new>

#include "common/acquisition/sample_word.h"

namespace acquisition {

int SamplePool::Allocate() {
  for (auto& chunk : g_mempool) {
    if (chunk == nullptr) chunk.reset(new (std::nothrow) char[kChunkBytes]());
    if (chunk == nullptr) return -1;
  }
  return 0;
}

void SamplePool::Begin(std::size_t block_bytes) {
  block_bytes_ = block_bytes;
  in_chunk_ = 0;
  g_mempoolindex = 0;
  pages_ = 0;
}

int* SamplePool::Next() {
  return reinterpret_cast<int*>(g_mempool[g_mempoolindex].get() + in_chunk_ * block_bytes_);
}

bool SamplePool::Published() {
  pages_.fetch_add(block_bytes_ / kPageBytes, std::memory_order_release);
  if (++in_chunk_ < BlocksPerChunk()) return false;
  in_chunk_ = 0;
  g_mempoolindex = (g_mempoolindex + 1) % kChunks;
  return true;
}

const int* SamplePool::Page(std::uint64_t page) const {
  constexpr std::uint64_t kChunkPages = kChunkBytes / kPageBytes;
  const char* chunk = g_mempool[page / kChunkPages % kChunks].get();
  return reinterpret_cast<const int*>(chunk + page % kChunkPages * kPageBytes);
}

}  // namespace acquisition

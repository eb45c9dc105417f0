#include "common/acquisition/sample_ring.h"

#include <sys/mman.h>

#include <cstring>
#include <utility>

#include "platform/backend.h"

namespace acquisition {

SampleRing::~SampleRing() {
  if (base_ != nullptr) platform::Machine().Munmap(base_, Dev::kSampleRingBytes);
}

int SampleRing::Map(int fd) {
  void* mapped = platform::Machine().Mmap(nullptr, Dev::kSampleRingBytes, PROT_READ | PROT_WRITE,
                                          MAP_SHARED | MAP_POPULATE, fd, 0);
  if (mapped == MAP_FAILED) return -1;
  if (base_ != nullptr) platform::Machine().Munmap(base_, Dev::kSampleRingBytes);
  base_ = mapped;
  CountRenewed(0, seen_.size());
  return 0;
}

const int* SampleRing::At(std::size_t offset) const {
  return reinterpret_cast<const int*>(static_cast<const char*>(base_) + offset);
}

SampleRing::PageEnd SampleRing::EndOf(std::size_t page) const {
  PageEnd end;
  std::memcpy(end.data(), At((page + 1) * kPageBytes - sizeof end), sizeof end);
  return end;
}

std::size_t SampleRing::CountRenewed(std::size_t offset, std::size_t pages) {
  std::size_t renewed = 0;
  for (std::size_t page = offset / kPageBytes; pages > 0; ++page, --pages) {
    const PageEnd end = EndOf(page % seen_.size());
    if (std::exchange(seen_[page % seen_.size()], end) != end) ++renewed;
  }
  return renewed;
}

}  // namespace acquisition

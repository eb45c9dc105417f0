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
  IsRenewed(0, seen_.size());
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

bool SampleRing::IsRenewed(std::size_t offset, std::size_t pages) {
  bool renewed = true;
  for (std::size_t page = offset / kPageBytes; pages > 0; ++page, --pages) {
    const PageEnd end = EndOf(page);
    renewed = std::exchange(seen_[page], end) != end && renewed;
  }
  return renewed;
}

}  // namespace acquisition

#include "common/acquisition/sample_ring.h"

#include <sys/mman.h>

#include "platform/backend.h"
#include "platform/fpga_driver.h"

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
  return 0;
}

const int* SampleRing::At(std::size_t offset) const {
  return reinterpret_cast<const int*>(static_cast<const char*>(base_) + offset);
}

}  // namespace acquisition

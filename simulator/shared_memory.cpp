#include "simulator/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>

namespace simulator {

SharedMemory::SharedMemory(const char* name, std::size_t size)
    : descriptor_(::memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
  if (!descriptor_) return;
  const bool sized =
      ::ftruncate(descriptor_.Get(), static_cast<off_t>(size)) == 0 &&
      ::fcntl(descriptor_.Get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) == 0;
  void* start =
      sized ? ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_.Get(), 0)
            : MAP_FAILED;
  if (start == MAP_FAILED) {
    descriptor_.Reset();
    return;
  }
  data_ = {static_cast<std::uint8_t*>(start), size};
}

SharedMemory::~SharedMemory() {
  if (!data_.empty()) ::munmap(data_.data(), data_.size());
}

std::vector<std::uint8_t> SharedMemory::Bytes(std::size_t address, std::size_t count) const {
  const std::size_t start = std::min(address, data_.size());
  const auto part = data_.subspan(start, std::min(count, data_.size() - start));
  return {part.begin(), part.end()};
}

void SharedMemory::Flip(std::size_t address, unsigned bit) {
  if (address < data_.size()) data_[address] ^= static_cast<std::uint8_t>(1U << bit);
}

void SharedMemory::Blank(std::size_t from) {
  std::ranges::fill(data_.subspan(std::min(from, data_.size())), std::uint8_t{0});
}

}  // namespace simulator

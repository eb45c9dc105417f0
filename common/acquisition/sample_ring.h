// The driver's ring of sample blocks, mapped into the daemon.
#pragma once

#include <array>
#include <cstddef>

#include "common/acquisition/sample_word.h"
#include "platform/fpga_driver.h"

namespace acquisition {

/// Threads: one at a time.
class SampleRing {
 public:
  SampleRing() = default;
  SampleRing(const SampleRing&) = delete;
  SampleRing& operator=(const SampleRing&) = delete;
  ~SampleRing();

  /// `fd` is the FPGA device's. -1 when it cannot be mapped. A second mapping replaces the first;
  /// when it fails the first stays.
  int Map(int fd);
  /// The words at `offset` bytes, which is below kSampleRingBytes. Requires a mapping.
  const int* At(std::size_t offset) const;
  /// How many of the pages at `offset` the driver has written since the last call for them, or
  /// since the mapping. Noise makes the end of each page differ from its contents one turn of the
  /// ring before. A page of a signal without noise can look unwritten.
  std::size_t CountRenewed(std::size_t offset, std::size_t pages);

 private:
  /// A page's last words; its end is written last.
  using PageEnd = std::array<int, 16>;

  PageEnd EndOf(std::size_t page) const;

  void* base_ = nullptr;
  std::array<PageEnd, Dev::kSampleRingBytes / kPageBytes> seen_{};
};

}  // namespace acquisition

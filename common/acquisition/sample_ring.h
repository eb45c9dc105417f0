// The driver's ring of sample blocks, mapped into the daemon.
#pragma once

#include <cstddef>

namespace acquisition {

/// Threads: one at a time.
class SampleRing {
 public:
  SampleRing() = default;
  SampleRing(const SampleRing&) = delete;
  SampleRing& operator=(const SampleRing&) = delete;
  ~SampleRing();

  /// `fd` is the FPGA device's. -1 when it cannot be mapped; a second mapping replaces the
  /// first, which stays where it cannot be had.
  int Map(int fd);
  bool IsMapped() const { return base_ != nullptr; }
  /// The words at `offset` bytes, which is below kSampleRingBytes. Requires a mapping.
  const int* At(std::size_t offset) const;

 private:
  void* base_ = nullptr;
};

}  // namespace acquisition

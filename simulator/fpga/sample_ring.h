// The ring that the FPGA fills and the daemon maps, and the driver's counter of pages.
#pragma once

#include <cstdint>
#include <span>

#include "platform/fpga_driver.h"
#include "simulator/fpga/sample_word.h"
#include "simulator/shared_memory.h"

namespace simulator::fpga {

/// Threads: one at a time, except for what the daemon reads in the mapped memory.
class SampleRing {
 public:
  static constexpr std::uint64_t kPages = Dev::kSampleRingBytes / kPageBytes;

  SampleRing() : memory_("samples", Dev::kSampleRingBytes) {}

  /// Below 0 without memory.
  int Descriptor() const { return memory_.Descriptor(); }
  SharedMemory& Memory() { return memory_; }

  /// From the ring's start, with a counter of 0.
  void Restart() { pairs_ = 0; }
  /// Where the next words go, up to the end of their page. Empty without memory.
  std::span<std::uint32_t> Room() const { return Words(pairs_, kPagePairs - PairInPage()); }
  /// The first `pairs` of them are written.
  void Advance(std::uint64_t pairs) { pairs_ += pairs; }
  /// The counter jumps by so many pages, either way but never below 0.
  void Jump(std::int64_t pages);

  std::uint64_t Pages() const { return pairs_ / kPagePairs; }
  std::uint64_t PairInPage() const { return pairs_ % kPagePairs; }
  /// The words of the `pages` before the counter. Requires that they do not cross the ring's end.
  std::span<std::uint32_t> LastPages(std::uint64_t pages) const;

 private:
  std::span<std::uint32_t> Words(std::uint64_t first_pair, std::uint64_t pairs) const;

  SharedMemory memory_;
  std::uint64_t pairs_ = 0;  ///< since the restart
};

}  // namespace simulator::fpga

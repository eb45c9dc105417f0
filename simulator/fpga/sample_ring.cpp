#include "simulator/fpga/sample_ring.h"

#include <algorithm>

namespace simulator::fpga {

void SampleRing::Jump(std::int64_t pages) {
  const auto now = static_cast<std::int64_t>(Pages());
  pairs_ = static_cast<std::uint64_t>(std::max<std::int64_t>(now + pages, 0)) * kPagePairs +
           PairInPage();
}

std::span<std::uint32_t> SampleRing::LastPages(std::uint64_t pages) const {
  return Words((Pages() - pages) * kPagePairs, pages * kPagePairs);
}

std::span<std::uint32_t> SampleRing::Words(std::uint64_t first_pair, std::uint64_t pairs) const {
  const auto bytes = memory_.Data();
  if (bytes.empty()) return {};
  const std::uint64_t start = first_pair % (kPages * kPagePairs);
  auto* words = reinterpret_cast<std::uint32_t*>(bytes.data());
  return {words + start * kChannels, static_cast<std::size_t>(pairs * kChannels)};
}

}  // namespace simulator::fpga

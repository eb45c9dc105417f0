// What the FPGA's driver counts and shows as attributes.
#pragma once

#include <atomic>
#include <cstdint>

namespace simulator {

struct DriverCounters {
  std::atomic<std::uint32_t> atod_status{0};
  std::atomic<std::uint32_t> overflow_underflow{0};  ///< sample blocks that nobody took in time
  std::atomic<std::uint32_t> rxfpga{0};              ///< pages of samples
  std::atomic<std::uint32_t> br_index{0};            ///< sample blocks
};

}  // namespace simulator

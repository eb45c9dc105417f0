#include "simulator/i2c/spi_bridge.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr std::size_t kBufferBytes = 200;
constexpr std::uint8_t kFirstFunctionOfItsOwn = 0x10;  // below: an SPI transfer
constexpr std::uint8_t kNothing = 0xFF;

}  // namespace

int Sc18is602b::Take(std::span<const std::uint8_t> data) {
  // The bridge's own functions (0xF0 sets clock and mode of SPI) change nothing that shows here.
  if (data.empty() || data[0] >= kFirstFunctionOfItsOwn) return 0;
  const auto out = data.subspan(1, std::min(data.size() - 1, kBufferBytes));
  buffer_.assign(out.size(), kNothing);
  cpld_.Exchange(data[0], out, buffer_, IsWrong());
  return 0;
}

int Sc18is602b::Give(std::span<std::uint8_t> data) {
  std::ranges::fill(data, kNothing);
  std::copy_n(buffer_.begin(), std::min(buffer_.size(), data.size()), data.begin());
  return 0;
}

}  // namespace simulator

#include "simulator/i2c/dac8571.h"

#include <cstdio>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::uint8_t kBroadcast = 0x34;
constexpr std::uint8_t kUpdate = 0x10;
constexpr std::uint8_t kChannelMask = 0x06;
constexpr std::size_t kWriteBytes = 3;
constexpr std::uint16_t kMost = 0xFFFF;

}  // namespace

Dac8571::Dac8571(std::string name, const Surroundings& around, MeasChannelBoard& board)
    : I2cChip(std::move(name), around), board_(board) {
  for (std::size_t channel = 0; channel < kOffsetDacs; ++channel) {
    AddValue(
        around.units, "dac" + std::to_string(channel),
        [this, channel] { return std::to_string(board_.Dac(channel)); },
        [this, channel](std::string_view text) {
          const auto value = ParseHexOrDecimal(text, kMost);
          if (value) board_.SetDac(channel, static_cast<std::uint16_t>(*value));
          return value.has_value();
        });
  }
}

int Dac8571::Take(std::span<const std::uint8_t> data) {
  if (data.empty()) return 0;
  const std::uint8_t control = data[0];
  const bool all = control == kBroadcast;
  if (!all && (control & ~kChannelMask) != kUpdate) return 0;
  if (!all) channel_ = static_cast<std::size_t>(control & kChannelMask) >> 1;
  if (data.size() < kWriteBytes) return 0;
  const auto value = static_cast<std::uint16_t>(data[1] << 8 | data[2]);
  for (std::size_t channel = 0; channel < kOffsetDacs; ++channel) {
    if (all || channel == channel_) board_.SetDac(channel, value);
  }
  return 0;
}

int Dac8571::Give(std::span<std::uint8_t> data) {
  const std::uint16_t value = board_.Dac(channel_);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<std::uint8_t>(i % 2 == 0 ? value >> 8 : value);
  }
  return 0;
}

std::string Dac8571::Describe() const {
  std::string text;
  for (std::size_t channel = 0; channel < kOffsetDacs; ++channel) {
    char value[16];
    std::snprintf(value, sizeof value, "%s0x%04X", channel == 0 ? "" : " ",
                  static_cast<unsigned>(board_.Dac(channel)));
    text += value;
  }
  return text;
}

}  // namespace simulator

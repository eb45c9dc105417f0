#include "simulator/fpga/oled.h"

#include <algorithm>

namespace simulator::fpga {
namespace {

constexpr std::uint8_t kBlank = ' ';
constexpr std::uint8_t kClear = 0x01;
constexpr std::uint8_t kHome = 0x02;  // the lowest bit does not matter
constexpr std::uint8_t kSetAddress = 0x80;

}  // namespace

void Oled::Reset() {
  memory_.fill(kBlank);
  cursor_ = 0;
}

/// Display, entry mode and function set change nothing that can be read back.
void Oled::Command(std::uint8_t command) {
  if ((command & kSetAddress) != 0) {
    cursor_ = command & ~kSetAddress;
  } else if (command == kClear) {
    Reset();
  } else if ((command & ~1U) == kHome) {
    cursor_ = 0;
  }
}

std::uint8_t Oled::ReadCharacter() {
  const std::uint8_t character = memory_[cursor_];
  cursor_ = (cursor_ + 1) % memory_.size();
  return character;
}

std::string Oled::Line(std::size_t line) const {
  const auto* start = memory_.data() + line * kSecondLine;
  return {start, start + kColumns};
}

bool Oled::SetLine(std::size_t line, std::string_view text) {
  if (text.size() > kColumns) return false;
  auto* start = memory_.data() + line * kSecondLine;
  std::fill(std::ranges::copy(text, start).out, start + kColumns, kBlank);
  return true;
}

}  // namespace simulator::fpga

#include "simulator/i2c/register_chip.h"

#include <cstdio>

namespace simulator {
namespace {

constexpr std::uint16_t kNoRegister = 0xFFFF;

}  // namespace

void RegisterChip::Advance() {
  if (shape_.pointer == Pointer::kAdvances) {
    pointer_ = static_cast<std::uint8_t>((pointer_ + 1) & shape_.pointer_mask);
  }
}

int RegisterChip::Take(std::span<const std::uint8_t> data) {
  if (data.empty()) return 0;
  pointer_ = data[0] & shape_.pointer_mask;
  for (data = data.subspan(1); data.size() >= shape_.width; data = data.subspan(shape_.width)) {
    std::uint16_t value = 0;
    for (const std::uint8_t byte : data.first(shape_.width)) {
      value = static_cast<std::uint16_t>(value << 8 | byte);
    }
    registers_.Write(pointer_, value);
    Advance();
  }
  if (!data.empty()) {  // the upper byte of a word alone
    const unsigned lower = registers_.Read(pointer_).value_or(0) & 0xFFU;
    registers_.Write(pointer_, static_cast<std::uint16_t>(data[0] << 8 | lower));
  }
  return 0;
}

int RegisterChip::Give(std::span<std::uint8_t> data) {
  std::uint16_t value = 0;
  for (std::size_t i = 0; i < data.size(); ++i) {
    const std::size_t place = i % shape_.width;
    if (place == 0) {
      Refresh(pointer_);
      value = registers_.Read(pointer_).value_or(kNoRegister);
      Advance();
    }
    data[i] = static_cast<std::uint8_t>(value >> 8 * (shape_.width - 1 - place));
  }
  return 0;
}

std::string RegisterChip::Describe() const {
  std::string text;
  for (const RegisterInfo& info : registers_.Table()) {
    char value[8];
    std::snprintf(value, sizeof value, "0x%0*X", static_cast<int>(2 * shape_.width),
                  static_cast<unsigned>(*registers_.Read(info.offset)));
    text += (text.empty() ? "" : " ") + std::string(info.name) + "=" + value;
  }
  return text;
}

}  // namespace simulator

#include "simulator/i2c/eeprom.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>

namespace simulator {
namespace {

constexpr std::uint8_t kErased = 0xFF;
constexpr std::size_t kAddressBytes = 2;
constexpr platform::Nanoseconds kWriteTime = std::chrono::milliseconds(5);

/// Of the 24LC32, the 24LC256 and the 24LC512.
constexpr std::size_t PageOf(std::size_t part_bytes) {
  if (part_bytes == Ee24lc32::kPartBytes) return 32;
  return part_bytes == Ee24lc32::kLargePartBytes ? 64 : 128;
}

std::vector<std::uint8_t> FillPart(std::vector<std::uint8_t> image) {
  assert(image.size() <= Ee24lc32::kMostBytes);
  std::size_t size = Ee24lc32::kPartBytes;
  if (image.size() > size) size = Ee24lc32::kLargePartBytes;
  if (image.size() > size) size = Ee24lc32::kMostBytes;
  image.resize(size, kErased);
  return image;
}

}  // namespace

Ee24lc32::Ee24lc32(std::string name, const Surroundings& around, std::vector<std::uint8_t> image)
    : I2cChip(std::move(name), around), factory_(FillPart(std::move(image))), bytes_(factory_) {
  around.units.AddMemory(Name(), *this);
}

int Ee24lc32::Take(std::span<const std::uint8_t> data) {
  if (Clock().Monotonic() < busy_until_) return -ENXIO;
  if (data.size() < kAddressBytes) return 0;
  address_ = static_cast<std::size_t>(data[0] << 8 | data[1]) % bytes_.size();
  data = data.subspan(kAddressBytes);
  if (data.empty()) return 0;
  const std::size_t size = PageOf(bytes_.size());
  const std::size_t page = address_ / size * size;
  for (const std::uint8_t byte : data) {
    bytes_[address_] = byte;
    address_ = page + (address_ + 1) % size;
  }
  busy_until_ = Clock().Monotonic() + kWriteTime;
  return 0;
}

int Ee24lc32::Give(std::span<std::uint8_t> data) {
  if (Clock().Monotonic() < busy_until_) return -ENXIO;
  for (std::uint8_t& byte : data) {
    byte = bytes_[address_];
    address_ = (address_ + 1) % bytes_.size();
  }
  return 0;
}

std::string Ee24lc32::Describe() const {
  char text[48];
  std::snprintf(text, sizeof text, "%zu bytes, next address 0x%04zX", bytes_.size(), address_);
  return text;
}

std::size_t Ee24lc32::Size() const { return factory_.size(); }

std::vector<std::uint8_t> Ee24lc32::Bytes(std::size_t address, std::size_t count) const {
  const std::lock_guard lock(mutex_);
  const std::size_t start = std::min(address, bytes_.size());
  const auto part = std::span(bytes_).subspan(start, std::min(count, bytes_.size() - start));
  return {part.begin(), part.end()};
}

void Ee24lc32::Flip(std::size_t address, unsigned bit) {
  const std::lock_guard lock(mutex_);
  bytes_.at(address) ^= static_cast<std::uint8_t>(1U << bit);
}

void Ee24lc32::Blank(std::size_t from) {
  const std::lock_guard lock(mutex_);
  std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(std::min(from, bytes_.size())),
            bytes_.end(), kErased);
}

void Ee24lc32::Restore() {
  const std::lock_guard lock(mutex_);
  bytes_ = factory_;
}

}  // namespace simulator

// The EE24LC32 serial EEPROM: a two-byte address, then bytes. Writing wraps within a page and
// takes 5 ms, during which the chip does not acknowledge; reading wraps at the chip's end.
//
// The published part holds 4096 bytes in pages of 32; a larger image makes a larger part of the
// same family, with its longer pages, up to the 64 KiB that two address bytes reach.
#pragma once

#include <vector>

#include "simulator/i2c/chip.h"

namespace simulator {

class Ee24lc32 final : public I2cChip, public Memory {
 public:
  static constexpr std::size_t kPartBytes = 4096;
  static constexpr std::size_t kLargePartBytes = 32768;
  static constexpr std::size_t kMostBytes = 65536;

  /// The image is what the chip left the factory with; the rest of the chip is blank. Requires at
  /// most kMostBytes.
  Ee24lc32(std::string name, const Surroundings& around, std::vector<std::uint8_t> image);

  std::size_t Size() const override;
  std::vector<std::uint8_t> Bytes(std::size_t address, std::size_t count) const override;
  void Flip(std::size_t address, unsigned bit) override;
  void Blank(std::size_t from) override;
  void Restore() override;

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;

  const std::vector<std::uint8_t> factory_;  ///< as long as the chip
  std::vector<std::uint8_t> bytes_;
  std::size_t address_ = 0;
  platform::Nanoseconds busy_until_{0};
};

}  // namespace simulator

// The clock generator as its driver speaks to it: SMBus, pages, and the programming sequence.
#pragma once

#include <linux/i2c.h>

#include <map>
#include <utility>

#include "tests/simulator/i2c_fixture.h"

namespace simulator {

/// A divider a + b/c.
struct Divider {
  std::uint64_t a, b, c;
};

class ClockChipTest : public I2cTest {
 protected:
  static constexpr unsigned kAddress = 0x70;
  using Registers = std::map<std::size_t, std::uint8_t>;

  /// 0 or a negative errno.
  int Smbus(std::uint8_t direction, std::uint8_t command, std::uint32_t size,
            i2c_smbus_data* data) {
    Select(1, kAddress);
    i2c_smbus_ioctl_data request{direction, command, size, data};
    return backend_->Ioctl(File(1), I2C_SMBUS, &request) < 0 ? -errno : 0;
  }
  void SetRegister(std::size_t address, std::uint8_t value) {
    i2c_smbus_data data{};
    data.byte = address >= 256 ? 1 : 0;
    ASSERT_EQ(Smbus(I2C_SMBUS_WRITE, 255, I2C_SMBUS_BYTE_DATA, &data), 0);
    data.byte = value;
    ASSERT_EQ(
        Smbus(I2C_SMBUS_WRITE, static_cast<std::uint8_t>(address), I2C_SMBUS_BYTE_DATA, &data), 0);
  }
  unsigned GetRegister(std::size_t address) {
    i2c_smbus_data data{};
    data.byte = address >= 256 ? 1 : 0;
    EXPECT_EQ(Smbus(I2C_SMBUS_WRITE, 255, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(Smbus(I2C_SMBUS_READ, static_cast<std::uint8_t>(address), I2C_SMBUS_BYTE_DATA, &data),
              0);
    return data.byte;
  }
  void Change(std::size_t address, std::uint8_t mask, std::uint8_t value) {
    SetRegister(address,
                static_cast<std::uint8_t>((GetRegister(address) & ~mask) | (value & mask)));
  }

  /// As the manual encodes it.
  static void PutDivider(Registers& set, std::size_t base, const Divider& d) {
    const std::uint64_t p1 = (d.a * d.c + d.b) * 128 / d.c - 512;
    const std::uint64_t p2 = d.b * 128 % d.c;
    for (std::size_t i = 0; i < 10; ++i) set[base + i] = 0;
    for (unsigned bit = 0; bit < 18; ++bit) Put(set, base, bit, p1 >> bit & 1);
    for (unsigned bit = 0; bit < 30; ++bit) Put(set, base, 18 + bit, p2 >> bit & 1);
    for (unsigned bit = 0; bit < 30; ++bit) Put(set, base, 48 + bit, d.c >> bit & 1);
  }
  static void Put(Registers& set, std::size_t base, unsigned bit, std::uint64_t value) {
    set[base + bit / 8] = static_cast<std::uint8_t>(set[base + bit / 8] | value << bit % 8);
  }

  /// 25 MHz in, a VCO of some 2.5 GHz; output 0 through MS0 and an R divider of 2^`r`.
  static Registers Plan(const Divider& msn, const Divider& ms0, std::uint8_t r) {
    Registers set = {
        {28, 0x03}, {29, 0x40}, {30, 0xA0}, {31, static_cast<std::uint8_t>(0xC0 | r << 2)},
        {36, 0x01}, {42, 0x20}, {47, 0x14}, {48, 58},
        {49, 0x00}, {50, 0xC4}, {51, 0x07}, {52, 0x20},
        {116, 0x80}};
    PutDivider(set, 97, msn);
    set[106] |= 0x80;
    PutDivider(set, 53, ms0);
    return set;
  }

  /// Everything up to the soft reset and the time that the chip has for it.
  void Program(const Registers& set) {
    Change(230, 0x10, 0x10);
    Change(241, 0x80, 0x80);
    for (const auto& [address, value] : set) SetRegister(address, value);
    Change(49, 0x80, 0x00);
    SetRegister(246, 0x02);
    Change(241, 0xFF, 0x65);
    clock_.Advance(std::chrono::milliseconds(25));
  }
  /// Keeps the calibration and lets the outputs go.
  void Finish() {
    Change(47, 0x03, static_cast<std::uint8_t>(GetRegister(237)));
    SetRegister(46, static_cast<std::uint8_t>(GetRegister(236)));
    SetRegister(45, static_cast<std::uint8_t>(GetRegister(235)));
    Change(49, 0x80, 0x80);
    Change(230, 0x10, 0x00);
  }
  std::string Chip(const std::string& value) {
    return Control("get i2c.SIGNAL_HOST.SI5338." + value);
  }
  std::string SetChip(const std::string& value) {
    return Control("set i2c.SIGNAL_HOST.SI5338." + value);
  }
};

/// 60 Hz: 60 x 4096 x 16 x 4 = 15728640 Hz.
inline constexpr Divider kMsn60Hz = {99, 4050048, 10000000};
inline constexpr Divider kMs60Hz = {158, 0, 1};

}  // namespace simulator

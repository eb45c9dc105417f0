// A signal module with a clock chip that has registers and a loop that locks when the test lets it,
// and an FPGA that has registers.
#pragma once

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <array>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "platform/fpga_driver.h"
#include "platform/ioctl_table.h"
#include "tests/platform/bare_machine.h"

namespace sclk_test {

inline constexpr int kChipAddress = 0x70;
/// What every register, and with it every reserved bit, holds at first.
inline constexpr std::uint8_t kPowerUp = 0x4A;

struct FakeChip {
  FakeChip() {
    registers.fill(kPowerUp);
    registers[230] = 0;  // outputs on
  }

  /// 0 or a negative errno.
  int Transfer(bool read, int command, std::uint8_t& value) {
    if (++transfers == failing) return -EREMOTEIO;
    const std::size_t place = static_cast<std::size_t>(command == 255 ? 255 : page * 256 + command);
    if (place >= registers.size()) return -EREMOTEIO;
    if (read) {
      value = place == 218 ? Status() : registers[place];
    } else {
      Write(place, value);
    }
    return 0;
  }
  bool OutputsOff() const { return (registers[230] & 0x10) != 0; }

  std::array<std::uint8_t, 348> registers{};
  std::vector<int> written;  ///< addresses, but for the page register
  int transfers = 0;
  int failing = 0;  ///< the transfer that fails, from 1; 0: none
  int resets = 0;
  int locks_at_reset = 1;
  int reference_missing = 0;  ///< how many more readings tell that the reference is not there
  bool unsafe = false;        ///< a register of the plan was written with the outputs on

 private:
  std::uint8_t Status() {
    if (reference_missing > 0 && reference_missing-- > 0) return 0x04;
    return resets >= locks_at_reset ? 0x08 : 0x18;  // bit 3 is not of those that count
  }
  void Write(std::size_t place, std::uint8_t value) {
    if (place == 255) {
      page = value & 1;
      return;
    }
    written.push_back(static_cast<int>(place));
    if (place < 218 && !OutputsOff() && (place < 123 || place > 144)) unsafe = true;
    if (place == 246 && (value & 2) != 0) ++resets;
    registers[place] = value;
  }
  int page = 1;
};

class FakeBoard : public platform::BareInstrument {
 public:
  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int, int& error) override {
    error = ENOENT;
    if (path == "/dev/i2c-1" && has_bus) return std::make_unique<BusFile>(*this);
    if (path == Dev::kFpgaDevicePath) return std::make_unique<FpgaFile>(*this);
    return nullptr;
  }

  FakeChip chip;
  bool has_bus = true;
  int open_buses = 0;
  std::map<int, unsigned> fpga{{0, 0x984}, {22, 0x8000}};
  std::vector<std::pair<int, unsigned>> fpga_written;
  int fpga_writes_left = -1;  ///< how many more writes the driver takes; below 0: all

  /// The values that one register was given, in order.
  std::vector<unsigned> WrittenTo(int offset) const {
    std::vector<unsigned> values;
    for (const auto& [place, value] : fpga_written) {
      if (place == offset) values.push_back(value);
    }
    return values;
  }

 private:
  class BusFile : public platform::DeviceFile {
   public:
    explicit BusFile(FakeBoard& board) : board_(board) { ++board_.open_buses; }
    ~BusFile() override { --board_.open_buses; }
    int Ioctl(unsigned long request, void* argument) override {
      if (request == I2C_SLAVE || request == I2C_SLAVE_FORCE) {
        std::int64_t value = 0;
        std::memcpy(&value, argument, sizeof value);
        address_ = static_cast<int>(value);
        return 0;
      }
      if (request != I2C_SMBUS || address_ != kChipAddress) return -ENXIO;
      auto& transfer = *static_cast<platform::SmbusTransfer*>(argument);
      if (transfer.size != I2C_SMBUS_BYTE_DATA || transfer.has_data == 0) return -EOPNOTSUPP;
      return board_.chip.Transfer(transfer.read_write == I2C_SMBUS_READ, transfer.command,
                                  transfer.data[0]);
    }

   private:
    FakeBoard& board_;
    int address_ = -1;
  };

  class FpgaFile : public platform::DeviceFile {
   public:
    explicit FpgaFile(FakeBoard& board) : board_(board) {}
    int Ioctl(unsigned long request, void* argument) override {
      auto& command = *static_cast<Dev::FpgaCmd*>(argument);
      if (request == Dev::Q5FPGA_CMD_RD) {
        command.val = board_.fpga[command.offset];
        return 0;
      }
      if (request != Dev::Q5FPGA_CMD_WR) return -EINVAL;
      if (board_.fpga_writes_left == 0) return -EIO;
      if (board_.fpga_writes_left > 0) --board_.fpga_writes_left;
      board_.fpga[command.offset] = command.val;
      board_.fpga_written.emplace_back(command.offset, command.val);
      return 0;
    }

   private:
    FakeBoard& board_;
  };
};

}  // namespace sclk_test

// The clock chip: transfers of its registers, and the sequence that loads a new frequency plan.
//
// Transfers are SMBus byte transfers on a descriptor of the object's own, held between Open and
// Close. Which chip a descriptor talks to is the descriptor's own state, so the I2C worker can
// read other chips of the bus through the process's common descriptor meanwhile: neither
// changes what the other has selected, and the kernel keeps single transfers apart. Results: 0 or a
// negative value, which is logged. Error words are the caller's. Threads: one at a time, the
// daemon's command path, with acquisition stopped. The chip's page and the register image are
// shared by all steps of a sequence.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/chips/si5338_registers.h"

namespace Dev {

inline constexpr char kClockChipId[] = "SI5338";

class SI5338Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;
  ~SI5338Dev() override { Close(); }

  /// The chip is never scanned.
  int Read() override { return 0; }

  // --- Transfers, between Open and Close ---

  int Open();
  void Close();
  /// Selects the page of register `reg`.
  int Seek(int reg);
  /// `count` registers from `start` on, across pages. -EINVAL beyond register 347.
  int WriteRegs(int start, int count, const std::uint8_t* buf);
  int ReadRegs(int start, int count, std::uint8_t* buf);
  /// Bits of `mask` become those of `value`.
  int ReadModifyWrite(int reg, unsigned mask, unsigned value);
  /// Merges the rows' masked bits into the register image and writes every run of rows that have a
  /// mask. `rows` are by address; those of the page register are passed over, as it is not data.
  int MergeAndWriteRegs(std::span<const Reg_Data> rows);

  // --- Whole sequences, with their own Open and Close. 0 or -1. ---

  /// Loads a new plan. A step that fails leaves the outputs off, until a later call gets
  /// through; so does a loop that has not locked 25 ms after its reset.
  int WriteRegStruct(std::span<const Reg_Data> rows);
  /// The sequence has failed because the bus did not come back in time: another is of no use.
  bool IsHeldUp() const { return _held_up; }
  /// Writes the frequency step of MultiSynth 0, registers 123 to 144, and nothing else.
  int WriteMs0FidpReg(std::span<const Reg_Data> rows);

 private:
  int Transfer(char read_write, int reg, std::uint8_t& value);
  bool ReadImage();
  bool Program(std::span<const Reg_Data> rows);
  bool AwaitReference();
  bool IsLocked();
  bool CopyCalibration();

  int _bus_fd = -1;
  bool _held_up = false;
  std::array<std::uint8_t, kRegisters> _reg_image{};
};

}  // namespace Dev

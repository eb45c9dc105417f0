#include "common/dev/i2c/chips/si5338_dev.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

namespace {

constexpr int kPageSize = 256;
constexpr int kStatus = 218;
constexpr unsigned kLossOfClock = 1U << 2;
constexpr unsigned kAlarms = 0x15;  // loop unlocked, reference lost, calibration running
constexpr int kStatusReads = 1000;
constexpr std::chrono::milliseconds kLockTime(25);
constexpr int kFirstStepRegister = 123;
constexpr int kLastStepRegister = 144;

bool Done(int result, const char* text) {
  if (result < 0) Q5_LOG_ERROR(si5338L, "%s", text);
  return result >= 0;
}

}  // namespace

int SI5338Dev::Open() {
  Close();
  _held_up = false;
  _bus_fd = OpenBus(_bus);
  if (_bus_fd < 0) {
    Q5_LOG_ERROR(si5338L, "<panic func=SI5338Dev err=bad-fd cid=%s errno=%s/>\n",
                 _cid.ToString().c_str(), std::strerror(errno));
    return -1;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the request takes the address by value
  void* argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(_addr));
  if (platform::Machine().Ioctl(_bus_fd, I2C_SLAVE_FORCE, argument) < 0) {
    Q5_LOG_ERROR(si5338L, "<panic func=SI5338Dev ioctl=failed addr=0x%02X key=%s errno=%s/>\n",
                 static_cast<unsigned>(_addr), _key.c_str(), std::strerror(errno));
    Close();
    return -1;
  }
  return 0;
}

void SI5338Dev::Close() {
  if (_bus_fd >= 0) platform::Machine().Close(_bus_fd);
  _bus_fd = -1;
}

int SI5338Dev::Transfer(char read_write, int reg, std::uint8_t& value) {
  if (TransferByte(_bus_fd, read_write, static_cast<std::uint8_t>(reg % kPageSize), value) < 0) {
    _held_up = errno == ETIMEDOUT || errno == EBUSY;
    Q5_LOG_ERROR(si5338L, "Si5338 register %d: %s failed: %s\n", reg,
                 read_write == I2C_SMBUS_READ ? "read" : "write", std::strerror(errno));
    return -1;
  }
  return 0;
}

int SI5338Dev::Seek(int reg) {
  std::uint8_t page = reg >= kPageSize ? 1 : 0;
  if (Transfer(I2C_SMBUS_WRITE, kPageRegister, page) == 0) return 0;
  Q5_LOG_ERROR(si5338L, "Failed to write Page Select register.  errno: %s\n", std::strerror(errno));
  return -1;
}

namespace {

int CheckRange(int start, int count) {
  if (start >= 0 && count >= 0 && count <= kRegisters && start <= kRegisters - count) return 0;
  Q5_LOG_ERROR(si5338L, "Invalid register number %d and/or count %d.  Max: %d\n", start, count,
               kRegisters - 1);
  return -EINVAL;
}

bool BeginsPage(int reg, int start) { return reg == start || reg == kPageSize; }

}  // namespace

int SI5338Dev::WriteRegs(int start, int count, const std::uint8_t* buf) {
  if (const int error = CheckRange(start, count); error < 0) return error;
  for (int i = 0; i < count; ++i) {
    const int reg = start + i;
    std::uint8_t value = buf[i];
    if (BeginsPage(reg, start) && Seek(reg) < 0) return -1;
    if (Transfer(I2C_SMBUS_WRITE, reg, value) < 0) return -1;
  }
  return 0;
}

int SI5338Dev::ReadRegs(int start, int count, std::uint8_t* buf) {
  if (const int error = CheckRange(start, count); error < 0) return error;
  for (int i = 0; i < count; ++i) {
    const int reg = start + i;
    if (BeginsPage(reg, start) && Seek(reg) < 0) return -1;
    if (Transfer(I2C_SMBUS_READ, reg, buf[i]) < 0) return -1;
  }
  return 0;
}

int SI5338Dev::ReadModifyWrite(int reg, unsigned mask, unsigned value) {
  std::uint8_t byte = 0;
  if (const int error = ReadRegs(reg, 1, &byte); error < 0) return error;
  byte = static_cast<std::uint8_t>((value & mask) | (byte & ~mask));
  return WriteRegs(reg, 1, &byte);
}

int SI5338Dev::MergeAndWriteRegs(std::span<const Reg_Data> rows) {
  const auto is_data = [](const Reg_Data& row) {
    return row.Reg_Mask != 0 && row.Reg_Addr < kRegisters && row.Reg_Addr != kPageRegister;
  };
  for (std::size_t i = 0; i < rows.size();) {
    if (!is_data(rows[i])) {
      ++i;
      continue;
    }
    const int start = rows[i].Reg_Addr;
    int count = 0;
    for (; i < rows.size() && rows[i].Reg_Addr == start + count && is_data(rows[i]); ++i, ++count) {
      std::uint8_t& byte = _reg_image.at(rows[i].Reg_Addr);
      const unsigned mask = rows[i].Reg_Mask;
      byte = static_cast<std::uint8_t>((rows[i].Reg_Val & mask) | (byte & ~mask));
    }
    const int error = WriteRegs(start, count, &_reg_image.at(static_cast<std::size_t>(start)));
    if (error < 0) return error;
  }
  return 0;
}

// --- Sequences ---

bool SI5338Dev::ReadImage() {
  return Done(ReadRegs(0, kRegisters, _reg_image.data()),
              "Failed reading Si5338 , all registers\n");
}

bool SI5338Dev::AwaitReference() {
  std::uint8_t status = 0;
  for (int i = 0; i < kStatusReads; ++i) {
    if (!Done(ReadRegs(kStatus, 1, &status),
              "Failed polling Si5338 register 218 for LOS_CLKIN\n")) {
      return false;
    }
    if ((status & kLossOfClock) == 0) return true;
  }
  return Done(-1, "Timeout polling Si5338 register 218 for LOS_CLKIN\n");
}

bool SI5338Dev::IsLocked() {
  std::uint8_t status = 0;
  if (!Done(ReadRegs(kStatus, 1, &status), "Failed reading Si5338 register 218 for alarms\n")) {
    return false;
  }
  if ((status & kAlarms) == 0) return true;
  Q5_LOG_ERROR(si5338L, "Reading Si5338 register 218 -- alarms 0x%02X not cleared\n", status);
  return false;
}

/// Holds the loop at the value that its calibration has found.
bool SI5338Dev::CopyCalibration() {
  constexpr struct {
    int from, to;
    unsigned mask;
    const char* not_read;
    const char* not_written;
  } kCopies[] = {
      {237, 47, 3, "Failed reading Si5338 register 237 for FCAL\n",
       "Failed modifying Si5338 register 47 for FCAL\n"},
      {236, 46, 255, "Failed reading Si5338 register 236 for FCAL\n",
       "Failed modifying Si5338 register 46 for FCAL\n"},
      {235, 45, 255, "Failed reading Si5338 register 235 for FCAL\n",
       "Failed modifying Si5338 register 45 for FCAL\n"},
  };
  for (const auto& copy : kCopies) {
    std::uint8_t found = 0;
    if (!Done(ReadRegs(copy.from, 1, &found), copy.not_read) ||
        !Done(ReadModifyWrite(copy.to, copy.mask, found), copy.not_written)) {
      return false;
    }
  }
  return Done(ReadModifyWrite(47, 252, 20), "Failed modifying Si5338 register 47 for FCAL\n");
}

bool SI5338Dev::Program(std::span<const Reg_Data> rows) {
  const bool reset =
      Done(ReadModifyWrite(230, 16, 255),
           "Failed modifying Si5338 register 230 for OEB_ALL = 1\n") &&
      Done(ReadModifyWrite(241, 128, 255),
           "Failed modifying Si5338 register 241 for DIS_LOL = 1\n") &&
      ReadImage() &&
      Done(MergeAndWriteRegs(rows),
           "Failed to merge and write new values into Si5338 registers\n") &&
      AwaitReference() &&
      Done(ReadModifyWrite(49, 128, 0),
           "Failed modifying Si5338 register 49 for FCAL_OVRD_EN = 0\n") &&
      Done(ReadModifyWrite(246, 2, 255), "Failed modifying Si5338 register 246 for SOFT_RESET\n") &&
      Done(ReadModifyWrite(241, 255, 101), "Failed modifying Si5338 register 241 for DIS_LOL\n");
  if (!reset) return false;
  platform::Machine().Clock().SleepFor(kLockTime);
  return IsLocked() && CopyCalibration() &&
         Done(ReadModifyWrite(49, 128, 255),
              "Failed modifying Si5338 register 49 for FCAL_OVRD_EN\n") &&
         Done(ReadModifyWrite(230, 16, 0), "Failed modifying Si5338 register 230 for OEB_ALL\n");
}

int SI5338Dev::WriteRegStruct(std::span<const Reg_Data> rows) {
  if (Open() < 0) return -1;
  const bool done = Program(rows);
  Close();
  return done ? 0 : -1;
}

int SI5338Dev::WriteMs0FidpReg(std::span<const Reg_Data> rows) {
  if (Open() < 0) return -1;
  const auto first = std::find_if(rows.begin(), rows.end(), [](const Reg_Data& row) {
    return row.Reg_Addr >= kFirstStepRegister;
  });
  const auto last = std::find_if(
      first, rows.end(), [](const Reg_Data& row) { return row.Reg_Addr > kLastStepRegister; });
  const bool done = ReadImage() && MergeAndWriteRegs({first, last}) == 0;
  Close();
  return done ? 0 : -1;
}

}  // namespace Dev

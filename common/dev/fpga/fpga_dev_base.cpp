#include "common/dev/fpga/fpga_dev_base.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>

#include "common/dev/fpga/allok_drop.h"
#include "common/dev/fpga/fpga_request.h"
#include "common/log/log_line.h"
#include "platform/required.h"

namespace Dev {

namespace {

constexpr char kUntraced[] = "?";

std::optional<FpgaShared> shared_state;

// Bits that the hardware changes by itself. On the main module the ALLOK line is in the clock
// selection.
constexpr unsigned LiveBits(int offset) {
  if (offset == Q5FPGA_MISC_CTRL) return kAllokOut | kAllokIn | kMeasModuleBit;
  return offset == Q5FPGA_CLK_SEL ? kRegisterMask : 0;
}

void TraceWrite(const char* verb, const char* func, int line, const FpgaCmd& command) {
  const char* name = FpgaDevBase::GetRegNameText(command.offset);
  if (command.devtype != FPGA_REG || std::strcmp(name, kUntraced) == 0) return;
  Q5_LOG_INFO(fpgaL, "%s.%d %s register %s(0x%02X) val 0x%04X\n", func, line, verb, name,
              static_cast<unsigned>(command.offset), command.val);
}

}  // namespace

void FpgaDevBase::Share(const FpgaShared& shared) { shared_state.emplace(shared); }

const FpgaShared& FpgaDevBase::Shared() {
  return platform::Required(shared_state, "the FPGA's shared state");
}

int FpgaDevBase::Read(FpgaCmd& command) {
  if (FpgaRequest(_fd, Q5FPGA_CMD_RD, command) >= 0) return 0;
  const int error = errno;
  Q5_LOG_ERROR(fpgaL, "%s IOCTL ERROR offset 0x%02X val 0x%04X fd %d\n", "Read",
               static_cast<unsigned>(command.offset), command.val, _fd);
  errno = error;
  return -1;
}

int FpgaDevBase::Write(FpgaCmd& command, int line) {
  if (FpgaRequest(_fd, Q5FPGA_CMD_WR, command) >= 0) {
    TraceWrite("Write", "Write", line, command);
    return 0;
  }
  const int error = errno;
  Q5_LOG_ERROR(fpgaL, "%s.%d IOCTL ERROR register 0x%02X val 0x%04X\n", "Write", line,
               static_cast<unsigned>(command.offset), command.val);
  errno = error;
  return -1;
}

int FpgaDevBase::ReadReg(int offset, unsigned int& value) {
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = offset;
  if (FpgaRequest(_fd, Q5FPGA_CMD_RD, command) >= 0) {
    value = command.val & kRegisterMask;
    return 0;
  }
  const int error = errno;
  Q5_LOG_ERROR(fpgaL, "%s.%d IOCTL ERROR offset 0x%02X\n", "ReadReg", __LINE__,
               static_cast<unsigned>(offset));
  errno = error;
  return -1;
}

std::optional<unsigned>* FpgaDevBase::Meant(int offset) {
  const auto* place = std::ranges::find(kOwnRegisters, offset);
  return place == kOwnRegisters.end() ? nullptr : &meant_[place - kOwnRegisters.begin()];
}

// A value whose write fails stays the intended one: the next restore writes it.
int FpgaDevBase::Put(int offset, unsigned value, int line) {
  if (std::optional<unsigned>* meant = Meant(offset)) *meant = value & kRegisterMask;
  const Bit out = AllokOut();
  const bool of_allok = module_ >= 0 && offset == out.offset;
  if (of_allok) {
    TheAllokDrop().Prepare(offset, value & kRegisterMask & ~out.mask);
    if (TheAllokDrop().IsLast()) value &= ~out.mask;
  }
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = offset;
  command.val = value;
  const bool written = FpgaRequest(_fd, Q5FPGA_CMD_WR, command) >= 0;
  const int error = errno;
  if (of_allok && TheAllokDrop().IsLast()) TheAllokDrop().Send();  // the last drop came meanwhile
  if (written) {
    TraceWrite("Wrote", "WriteReg", line, command);
    return 0;
  }
  Q5_LOG_ERROR(fpgaL, "%s.%d IOCTL ERROR offset 0x%02X val 0x%04X fd %d\n", "WriteReg", line,
               static_cast<unsigned>(offset), value, _fd);
  errno = error;
  return -1;
}

int FpgaDevBase::WriteReg(int offset, unsigned int value, int line) {
  const platform::Lock lock(registers_mutex_);
  return Put(offset, value, line);
}

int FpgaDevBase::ChangeReg(int offset, unsigned clear, unsigned set, int line, unsigned& written) {
  const platform::Lock lock(registers_mutex_);
  const std::optional<unsigned>* meant = Meant(offset);
  const bool known = meant != nullptr && *meant;
  const unsigned live = known ? LiveBits(offset) : kRegisterMask;
  unsigned value = 0;
  if (live != 0 && ReadReg(offset, value) < 0) return -1;
  value = (value & live) | (known ? **meant & ~live : 0);
  value = (value & ~clear) | set;
  if (Put(offset, value, line) < 0) return -1;
  written = value;
  return 0;
}

// Not the register of the ALLOK line: a false reading of a disturbed driver must not raise a line
// that has been dropped.
int FpgaDevBase::RestoreRegisters() {
  const platform::Lock lock(registers_mutex_);
  int result = 0;
  for (const int offset : {Q5FPGA_A2D_CTRL, Q5FPGA_CLK_SEL, Q5FPGA_WFORM_CTRL}) {
    if (const auto meant = *Meant(offset); meant) result |= Put(offset, *meant, __LINE__);
  }
  return result;
}

int FpgaDevBase::ChangeReg(int offset, unsigned clear, unsigned set, int line) {
  unsigned written = 0;
  return ChangeReg(offset, clear, set, line, written);
}

const char* FpgaDevBase::GetRegNameText(int offset) {
  const auto* row = std::ranges::find(kRegisterMap, offset, &RegisterRow::offset);
  return row == std::end(kRegisterMap) ? kUntraced : row->trace;
}

int FpgaDevBase::GetHostModuleID() {
  unsigned int id = 0;
  if (ReadReg(Q5FPGA_DEVICE_ID, id) < 0) return -1;
  switch (id & kIdentityMask) {
    case kMainIdentity:
      return MAIN_MOD;
    case kSignalIdentity: {
      unsigned int misc = 0;
      if (ReadReg(Q5FPGA_MISC_CTRL, misc) < 0) return -1;
      return (misc & kMeasModuleBit) != 0 ? MEAS_MOD : SOURCE_MOD;
    }
    default:
      Q5_LOG_ERROR(fpgaL, "Check GetHostModuleID %d \n", static_cast<int>(id & kIdentityMask));
      return PFC_MOD;
  }
}

bool FpgaDevBase::IsActualModuleID(int module) { return GetHostModuleID() == module; }

int FpgaDevBase::GetRevision() {
  unsigned int id = 0;
  if (ReadReg(Q5FPGA_DEVICE_ID, id) < 0) {
    Q5_LOG_ERROR(fpgaL, "FPGA read revision failed offset %d val %d\n",
                 static_cast<int>(Q5FPGA_DEVICE_ID), static_cast<int>(id));
    return -1;
  }
  return static_cast<int>(id >> kRevisionShift);
}

int FpgaDevBase::GetMiscContStat2() {
  unsigned int status = 0;
  if (ReadReg(Q5FPGA_MISC_STATCTL2_REG, status) < 0) {
    Q5_LOG_ERROR(fpgaL, "FPGA read failed offset 0x%02X val 0x%04X\n",
                 static_cast<unsigned>(Q5FPGA_MISC_STATCTL2_REG), status);
    return -1;
  }
  return static_cast<int>(status);
}

}  // namespace Dev

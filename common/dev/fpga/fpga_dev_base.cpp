#include "common/dev/fpga/fpga_dev_base.h"

#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Dev {

using Logger::fpgaL;
using Logger::kError;
using Logger::logger_mgr;

int FpgaDevBase::Read(FpgaCmd& command) {
  if (platform::Machine().Ioctl(_fd, Q5FPGA_CMD_RD, &command) >= 0) return 0;
  logger_mgr::print(fpgaL, kError, 0, "%s IOCTL ERROR offset 0x%02X val 0x%04X fd %d\n", "Read",
                    static_cast<unsigned>(command.offset), command.val, _fd);
  return -1;
}

int FpgaDevBase::Write(FpgaCmd& command, int line) {
  if (platform::Machine().Ioctl(_fd, Q5FPGA_CMD_WR, &command) >= 0) return 0;
  logger_mgr::print(fpgaL, kError, 0, "%s.%d IOCTL ERROR register 0x%02X val 0x%04X\n", "Write",
                    line, static_cast<unsigned>(command.offset), command.val);
  return -1;
}

int FpgaDevBase::ReadReg(int offset, unsigned int& value) {
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = offset;
  if (platform::Machine().Ioctl(_fd, Q5FPGA_CMD_RD, &command) < 0) {
    logger_mgr::print(fpgaL, kError, 0, "%s.%d IOCTL ERROR offset 0x%02X\n", "ReadReg", __LINE__,
                      static_cast<unsigned>(offset));
    return -1;
  }
  value = command.val;
  return 0;
}

int FpgaDevBase::WriteReg(int offset, unsigned int value, int line) {
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = offset;
  command.val = value;
  if (platform::Machine().Ioctl(_fd, Q5FPGA_CMD_WR, &command) >= 0) return 0;
  logger_mgr::print(fpgaL, kError, 0, "%s.%d IOCTL ERROR offset 0x%02X val 0x%04X fd %d\n",
                    "WriteReg", line, static_cast<unsigned>(offset), value, _fd);
  return -1;
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
      logger_mgr::print(fpgaL, kError, 0, "Check GetHostModuleID %d \n",
                        static_cast<int>(id & kIdentityMask));
      return PFC_MOD;
  }
}

bool FpgaDevBase::IsActualModuleID(int module) { return GetHostModuleID() == module; }

int FpgaDevBase::GetRevision() {
  unsigned int id = 0;
  if (ReadReg(Q5FPGA_DEVICE_ID, id) < 0) {
    logger_mgr::print(fpgaL, kError, 0, "FPGA read revision failed offset %d val %d\n",
                      static_cast<int>(Q5FPGA_DEVICE_ID), static_cast<int>(id));
    return -1;
  }
  return static_cast<int>((id & 0xFFFF) >> kRevisionShift);
}

int FpgaDevBase::GetMiscContStat2() {
  unsigned int status = 0;
  if (ReadReg(Q5FPGA_MISC_STATCTL2_REG, status) < 0) {
    logger_mgr::print(fpgaL, kError, 0, "FPGA read failed offset 0x%02X val 0x%04X\n",
                      static_cast<unsigned>(Q5FPGA_MISC_STATCTL2_REG), status);
    return -1;
  }
  return static_cast<int>(status & 0xFFFF);
}

}  // namespace Dev

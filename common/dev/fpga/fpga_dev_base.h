// Access to the FPGA's registers through its driver, and who this module is.
//
// Results: 0 or a value on success, -1 when the driver refused; the failure is in the log. Threads:
// any; each register access is one request to the driver, a read-modify-write is not protected.
#pragma once

#include "common/dev/fpga/fpga_registers.h"
#include "platform/fpga_driver.h"

namespace Dev {

class FpgaDevBase {
 public:
  explicit FpgaDevBase(int fd) : _fd(fd) {}
  virtual ~FpgaDevBase() = default;
  FpgaDevBase(const FpgaDevBase&) = delete;
  FpgaDevBase& operator=(const FpgaDevBase&) = delete;

  /// The caller fills `devtype` and `offset`; `val` comes back.
  int Read(FpgaCmd& command);
  /// `line` is the caller's tag for the log only.
  int Write(FpgaCmd& command, int line);
  int ReadReg(int offset, unsigned int& value);
  int WriteReg(int offset, unsigned int value, int line);

  /// A MID value; 3 for an identity that is not known, -1 when it cannot be read.
  int GetHostModuleID();
  bool IsActualModuleID(int module);
  /// Board revision, 0 to 15, or -1.
  int GetRevision();
  /// Miscellaneous status and control, register 82, or -1.
  int GetMiscContStat2();
  int GetDeviceFd() const { return _fd; }

 protected:
  int _fd;
};

}  // namespace Dev

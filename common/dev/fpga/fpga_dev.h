// The daemon's one object for the FPGA of its module.
#pragma once

#include "common/dev/fpga/fpga_dev_base.h"

namespace Dev {

class FpgaDev : public FpgaDevBase {
 public:
  /// Opens the device on the first call that succeeds and gives the same object from then on. Null
  /// when it cannot be opened, with errno telling why. It lives as long as the process.
  static FpgaDev* GetDevice();

  explicit FpgaDev(int fd) : FpgaDevBase(fd) {}
  ~FpgaDev() override;
};

}  // namespace Dev

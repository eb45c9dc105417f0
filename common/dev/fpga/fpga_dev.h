// The daemon's one object for the FPGA of its module.
#pragma once

#include "common/dev/fpga/fpga_invert_channel.h"
#include "common/dev/fpga/fpga_line_sync.h"
#include "common/dev/fpga/fpga_ramp_control.h"

namespace Dev {

class FpgaDev : public FpgaRampControl, public FpgaInvertChannel, public FpgaLineSync {
 public:
  /// Opens the device on the first call that succeeds and gives the same object from then on. Null
  /// when it cannot be opened, with errno telling why. It lives as long as the process.
  static FpgaDev* GetDevice();

  /// Takes over the descriptor.
  explicit FpgaDev(int fd) : FpgaDevBase(fd) {}
  ~FpgaDev() override;
};

}  // namespace Dev

// The daemon's one object for the FPGA of its module.
#pragma once

#include "common/dev/fpga/fpga_invert_channel.h"
#include "common/dev/fpga/fpga_line_sync.h"
#include "common/dev/fpga/fpga_ramp_control.h"

namespace Dev {

class FpgaDev : public FpgaRampControl, public FpgaInvertChannel, public FpgaLineSync {
 public:
  /// Opens the device on the first call that succeeds; later calls return the same object. Null
  /// when it cannot be opened, with the reason in errno. The object lives as long as the process.
  static FpgaDev* GetDevice();

  /// Takes over the descriptor.
  explicit FpgaDev(int fd) : FpgaDevBase(fd) {}
  ~FpgaDev() override;
};

}  // namespace Dev

// Converter that watches the supply rails of a measurement channel board.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class ChipPath;

/// Drives rows of type MON_ADC. A row of rate 0 sets the chip up, another measures.
class AD7998Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  /// ReadBoot or ReadScan: 0 or -1.
  int Read() override;

 private:
  int ReadBoot(ChipPath& path, int board);
  int ReadScan(ChipPath& path);
  void CheckFans();
};

}  // namespace Dev

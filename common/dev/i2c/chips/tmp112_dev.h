// Temperature sensor of the core and the front-panel boards.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class TMP112Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  /// Measures and, at some scans, publishes. 0, or -1 when the chip could not be read.
  int Read() override;
};

}  // namespace Dev

// Port expander; nothing in it changes by itself, so a scan has nothing to do.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class PCA9536Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override { return 0; }
};

}  // namespace Dev

// Power management chip of the core; works by itself.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class TPS659112Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override;
};

}  // namespace Dev

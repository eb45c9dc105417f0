// The two chips of a channel's front end: the bridge to its CPLD and the offset converter. They are
// worked by requests alone.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class SC18IS602BDev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override { return 0; }
};

class DAC8571Dev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override { return 0; }
};

}  // namespace Dev

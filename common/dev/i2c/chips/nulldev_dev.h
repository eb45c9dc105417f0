// A placeholder without a chip.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class NULLDEVDev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override { return 0; }
  int DoReq(char* buf, int len, char* buf2, int len2, Act act) override;
};

}  // namespace Dev

// Temperature sensor of a measurement channel board.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class DS75SDev : public I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  /// As TMP112Dev; -1 also for a place where there are no channel boards.
  int Read() override;
};

}  // namespace Dev

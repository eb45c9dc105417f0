// Which class drives which chip. The folder of the chips supplies the list, so that the bus knows
// none of them.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

inline constexpr int kAnyType = -1;

struct Driver {
  std::string_view id;  ///< of the chip, as in the device table
  std::unique_ptr<I2cDev> (*make)(const I2cDevInfo&);
  int type = kAnyType;  ///< DEV_TYPE; rows of another type have no driver
};

/// The list that I2cDev::LoadI2cDevices uses; it must outlive the program. Before other threads
/// run.
void SetDrivers(std::span<const Driver> of_all_chips);

}  // namespace Dev

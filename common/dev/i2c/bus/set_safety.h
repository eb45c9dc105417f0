// The safety fault of a scanned device.
#pragma once

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

/// Adds a safety fault that names the address, module and assembly of `device` (not null). The
/// device's own fault value `result` is for the log only.
void SetSafety(int result, I2cDev* device);

}  // namespace Dev

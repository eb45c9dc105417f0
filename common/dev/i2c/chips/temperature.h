// Reading of the temperature sensors whose register 0 is a 16-bit word in 1/256 degree.
#pragma once

#include "common/dev/i2c/bus/chip_path.h"

namespace Dev {

/// Degrees Celsius of a sensor's word, two's complement.
float temp_ctoc(int raw);
/// The same in degrees Fahrenheit.
float temp_ctof(int raw);

/// Opens the path and reads the temperature. 0 or -1.
int ReadCelsius(ChipPath&& path, float& celsius);

}  // namespace Dev

// Version of the FPGA's kernel driver.
#pragma once

#include <string_view>

namespace Dev {

/// A version as the driver writes it, decimal text such as "0.90"; any text after the number is
/// ignored. Below 0 when the text does not begin with a number from 0 to 10000.
float ParseDriverVersion(std::string_view text);

/// The version of the running driver; 0 when it is not known.
float GetQ5FPGADriverVersion();

/// The version in hundredths, rounded.
unsigned DriverVersionNumber();

}  // namespace Dev

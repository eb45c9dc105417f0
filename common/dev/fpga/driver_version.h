// Version of the FPGA's kernel driver.
#pragma once

#include <string_view>

namespace Dev {

/// A version as the driver writes it, decimal text such as "0.90"; what follows the number does not
/// count. Below 0 when the text begins with no number from 0 to 10000.
float ParseDriverVersion(std::string_view text);

/// The version of the driver that runs, 0 when it cannot be told.
float GetQ5FPGADriverVersion();

/// The version in hundredths, rounded.
unsigned DriverVersionNumber();

}  // namespace Dev

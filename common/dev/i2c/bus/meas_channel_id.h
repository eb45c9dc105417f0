// The generations of channel board, by the identity of their CPLD.
#pragma once

namespace Dev {

enum MEAS_CHANNEL_ID : int {
  MEAS_CHANNEL_ID_0985 = 0x0985,
  MEAS_CHANNEL_ID_1093 = 0x1093,
};

}  // namespace Dev

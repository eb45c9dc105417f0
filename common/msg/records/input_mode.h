// What a measurement channel's input is set to.
#pragma once

namespace Msg {

/// An `int` underneath: a source word can name modes that there are not.
enum Input_Mode : int {
  Off = 0,
  ACDC_Current = 1,
  AC_Volt = 2,
  DC_Volt = 3,
  DCIR = 4,
  INPUT_MODE_COUNT = 5,
};

}  // namespace Msg

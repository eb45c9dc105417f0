// Which module of the instrument a daemon or a device belongs to.
#pragma once

namespace Msg {

enum MODULE_ID : int {
  MAIN_MODULE = 0,
  MEAS_MODULE = 1,
  SOURCE_MODULE = 2,
  PFC_MODULE = 3,
};

}  // namespace Msg

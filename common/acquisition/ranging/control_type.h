// How a channel that follows the source takes its range in a test, and when it nulls its offset.
#pragma once

#include "common/acquisition/dobj.h"
#include "common/acquisition/ranging/channel_enums.h"

namespace AcquisitionSystem {

/// What the choice depends on.
struct ControlRequest {
  int hwch = ACQ_CH1;  ///< an ACQ_CHAN_NUM
  bool source_module = false;
  int mode = 0;  ///< Msg::Input_Mode
  int test = 0;  ///< Msg::RNG_TEST_TYPE
  bool dc_test = false;
  bool vlf_test = false;
  // Ranges from the host; 0: no range named.
  int voltrange = 0;
  int voltscal = 0;
  int curange = 0;
};

RNG_CONTROL_TYPE FollowingControlType(const ControlRequest& request);

/// `manual_late`: the measurement module measures a DC voltage on a range that the host names.
DC_OFFSET_TYPE OffsetTypeOf(int control_type, bool manual_late);

}  // namespace AcquisitionSystem

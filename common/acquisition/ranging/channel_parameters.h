// The parameters of a test for one channel, as one value. A channel gets them with the event that
// starts or updates the test, and keeps them until the next such event.
#pragma once

#include <array>

#include "common/acquisition/dobj.h"
#include "common/msg/state/hmp_data.h"

namespace AcquisitionSystem {

struct ChannelParameters {
  unsigned version = 0;  ///< grows with each value that the channel gets
  int mode = 0;          ///< Msg::Input_Mode
  int range = 0;         ///< the index that the host names; 0: none
  double peak = 0;       ///< of the target level at the channel's input, V or A; 0: not known
  std::array<int, 2> filters{};  ///< of both channels
  bool is_very_slow = false;     ///< nobody waits for a whole cycle
};

/// The parameters of the test in `test` for channel `ch`, which measures in `mode`, without a
/// version.
ChannelParameters ParametersOf(const Msg::HMPData& test, ACQ_CHAN_NUM ch, int mode);

}  // namespace AcquisitionSystem

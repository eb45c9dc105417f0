// What a test asks of a channel, as one value: a channel gets it with the event that starts the
// test or updates it, and works on that value until the next one.
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

/// What the test in `test` asks of channel `ch`, which measures in `mode`. Without a version.
ChannelParameters ParametersOf(const Msg::HMPData& test, ACQ_CHAN_NUM ch, int mode);

}  // namespace AcquisitionSystem

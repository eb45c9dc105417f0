// What the FPGA's operations read of the state that the daemon's parts share, and where they store
// what they did with the output.
#pragma once

#include "common/msg/state/channel_state.h"
#include "common/msg/state/config_data.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/output_state.h"
#include "common/msg/state/parameters.h"

namespace Dev {

/// All of these outlive the device.
struct FpgaShared {
  const Msg::ConfigData& config;
  const Msg::TestParameters& test;
  Msg::OutputState& output;
  Msg::ChannelState& channels;
  Msg::Errorcodes& errors;

  bool IsVLFTest() const { return test.IsVLFTest(config.GetVLFThreshold()); }
};

}  // namespace Dev

// What the rules of this folder ask of the state that the daemon's parts share, and where the
// channels' access leaves what it found.
//
// Threads: shared once, before a channel is set up or a rule is asked; read from any.
#pragma once

#include "common/msg/state/config_data.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/measurement_state.h"
#include "common/msg/state/output_state.h"
#include "common/msg/state/parameters.h"

namespace signalh {

/// All of it lives as long as the process asks.
struct SignalShared {
  const Msg::ConfigData& config;
  const Msg::TestParameters& test;
  const Msg::MeasurementState& measurement;
  Msg::OutputState& output;
  Msg::Errorcodes& errors;

  bool IsVLFTest() const { return test.IsVLFTest(config.GetVLFThreshold()); }
};

void Share(const SignalShared& shared);
/// Requires Share.
const SignalShared& Shared();

}  // namespace signalh

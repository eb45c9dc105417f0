// What the rules of this folder read of the state that the daemon's parts share, and where the
// access to the channels stores its findings.
//
// Threads: shared once, before a channel is set up or a rule is asked; read from any.
#pragma once

#include "common/msg/state/config_data.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/measurement_state.h"
#include "common/msg/state/output_state.h"
#include "common/msg/state/parameters.h"

namespace signalh {

/// All of these must outlive the channels and the use of the rules.
struct SignalShared {
  const Msg::ConfigData& config;
  const Msg::TestParameters& test;
  const Msg::MeasurementState& measurement;
  Msg::OutputState& output;
  Msg::Errorcodes& errors;

  bool IsVLFTest() const { return test.IsVLFTest(config.GetVLFThreshold()); }
};

/// A later call replaces the state; no other thread may use it then.
void Share(const SignalShared& shared);
/// Ends the process when Share has not been called.
const SignalShared& Shared();

}  // namespace signalh

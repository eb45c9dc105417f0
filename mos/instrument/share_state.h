// Hands the shared state to those lower folders that take its themes, not `ghmp`.
#pragma once

#include "common/msg/state/hmp_data.h"

namespace Mos {

/// Once, when the state is made; it lives as long as the process asks.
void ShareState(Msg::HMPData& data);

}  // namespace Mos

// Hands the shared state to those lower folders that take single parts of it instead of `ghmp`.
#pragma once

#include "common/msg/state/hmp_data.h"

namespace Mos {

/// To be called once, when the state is made; the state must outlive all use of those folders.
void ShareState(Msg::HMPData& data);

}  // namespace Mos

#include "common/signalh/signal_shared.h"

#include <optional>

#include "platform/required.h"

namespace signalh {
namespace {

std::optional<SignalShared> shared_state;

}  // namespace

void Share(const SignalShared& shared) { shared_state.emplace(shared); }

const SignalShared& Shared() {
  return platform::Required(shared_state, "the channels' shared state");
}

}  // namespace signalh

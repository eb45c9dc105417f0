#include "common/signalh/signal_shared.h"

#include <cassert>
#include <optional>

namespace signalh {
namespace {

std::optional<SignalShared> shared_state;

}  // namespace

void Share(const SignalShared& shared) { shared_state.emplace(shared); }

const SignalShared& Shared() {
  assert(shared_state);
  return *shared_state;
}

}  // namespace signalh

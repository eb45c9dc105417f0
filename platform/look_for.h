// Waking a thread costs more than a short request to another one. So both sides look for each other
// for some microseconds before they sleep.
#pragma once

#include <thread>

namespace platform {

/// Until `sign()` is true, for a short while.
template <class Sign>
void LookFor(Sign sign) {
  constexpr int kLooks = 100;
  for (int i = 0; i < kLooks && !sign(); ++i) std::this_thread::yield();
}

}  // namespace platform

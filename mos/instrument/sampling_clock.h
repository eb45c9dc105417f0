// The sampling clock between tests.
#pragma once

#include "common/dev/sclk/spclk_dev.h"

namespace Mos {

inline constexpr unsigned kAdClocksPerSample = 64;

class SamplingClock {
 public:
  /// Sets the clock as it is between tests. A clock that is missing or refuses adds an error word.
  void Init();
  /// Null before Init and without a chip.
  Dev::SpclkDev* Device() { return device_; }

 private:
  Dev::SpclkDev* device_ = nullptr;
};

}  // namespace Mos

// The last cycle that a filter has finished within a block.
#pragma once

#include "common/calibration/phasor.h"

namespace acquisition {

struct FinishedCycle {
  phasorarr_t phasors{};  ///< in units of the ranges, before any correction
  /// The filter has taken the cycle as its result; false while blocks are discarded.
  bool is_result = false;
  /// The latest implausible magnitude among the block's cycles, V or A; 0 for none.
  double unexpected = 0;
};

}  // namespace acquisition

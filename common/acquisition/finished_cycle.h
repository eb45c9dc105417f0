// The last cycle that a filter has finished within a block.
#pragma once

#include "common/calibration/phasor.h"

namespace acquisition {

struct FinishedCycle {
  phasorarr_t phasors{};  ///< to the scale of the ranges, before any correction
  /// The filter has taken it as its result; not while blocks are discarded.
  bool is_result = false;
  /// The latest magnitude among the block's cycles that the test does not explain, V or A; 0: none.
  double unexpected = 0;
};

}  // namespace acquisition

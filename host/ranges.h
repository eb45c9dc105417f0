// The ranges of the measuring channels by index, as the instrument's boards have them.
//
// Index 1 is the least sensitive. The full scales are nominal; what a board really has, within a
// percent, is in its calibration.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "common/msg/records/input_mode.h"

namespace host {

/// Full scales (peak, V or A) of an input mode, from index 1 on; none for a mode without ranges.
std::span<const double> FullScales(int mode);

/// The ranges in words: "1: 75 A, 2: 7.5 A, ...".
std::string RangesText(int mode);

/// The most sensitive range with room for `peak` (V or A), 1 for more than all have. Those of which
/// the front end's own offset takes all room are left out: the daemon does not remove it yet.
int RangeFor(int mode, double peak);

}  // namespace host

// Looks for bad samples: words that the converters' side has marked as a fault or over range.
//
// A condition in one sample alone is a glitch and only told in the log; in two or more consecutive
// samples of a channel it counts.
#pragma once

#include "common/acquisition/sample_channel.h"

namespace acquisition {

inline constexpr int kStatusFault = 1;
inline constexpr int kStatusOverRange = 2;

/// Scans `pairs` pairs; every scan starts as after good samples. Or of the bits above, 0 for none.
/// A channel with one of them is asked to read its CPLD. Threads: any.
int CheckFaultAndOverRangeStatusBits(const int* words, int pairs, SampleChannels& channels);

}  // namespace acquisition

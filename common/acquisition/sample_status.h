// Looks for bad samples: words that the converter board has marked as a fault or over range.
//
// A condition in a single sample is a glitch and is only logged; in two or more consecutive samples
// of a channel it counts.
#pragma once

#include "common/acquisition/sample_channel.h"

namespace acquisition {

inline constexpr int kStatusFault = 1;
inline constexpr int kStatusOverRange = 2;

/// Scans `pairs` pairs; every scan starts as after good samples. Returns the bits above, or-ed; 0
/// for none. Asks a channel with one of them to read its CPLD. Threads: any.
int CheckFaultAndOverRangeStatusBits(const int* words, int pairs, SampleChannels& channels);

}  // namespace acquisition

// The choice of the anti-alias filter of a measurement channel.
//
// The rules depend on the kind of test; frequencies are in hertz. Threads: those that set up tests.
#pragma once

#include "common/dev/i2c/front_end/meas_channel_regs.h"
#include "common/msg/state/parameters.h"

namespace signalh {

inline constexpr int kNoFilter = 1;
inline constexpr int kLegacyFilter = 2;
inline constexpr int kTestModeFilter = 15;

/// The legacy filter below 70 Hz, else 0 for no choice.
int LegacyFilter(float freq);

/// The filter of the R3 boards, 3 to 14: by the kind of test if that alone decides, else by the
/// frequency, each bound inclusive. kTestModeFilter for a frequency that is not a number.
int FilterSelectionR3(const Msg::TestParameters& test, float freq);

/// The filter by the rule of the test when filtering is on; the legacy filter for tests without a
/// rule.
int FilterByRule(const Msg::TestParameters& test, float freq);

/// `base` with the filter for a signal of `freq` hertz on a board of `revision`.
Dev::MeasChCfgReg SelectFilter(const Dev::MeasChCfgReg& base, const Msg::TestParameters& test,
                               float freq, int revision);

}  // namespace signalh

// A clock plan with everything that it was made from and what comes of it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/dev/sclk/clock_registers.h"
#include "libs/fraction/fraction.h"

namespace host {

using fraction::Fraction;

struct ClockPlan {
  Param_Values params;
  Intermediate_Str dividers;
  std::unique_ptr<RegTable> registers;
  unsigned mclk_divider = 0;
  unsigned wclk_divider = 0;
  std::optional<Fraction> achieved;  ///< Hz; nothing when it cannot be shown exactly
  std::optional<Fraction> ratio;     ///< achieved over planned
};

/// What the daemon would take for an AC test at `hertz`, with the configuration that ships.
struct DaemonChoice {
  unsigned samples;  ///< per cycle
  bool is_slow;      ///< below the very-low-frequency threshold
};
DaemonChoice ChoiceFor(float hertz);

/// False, with the reason in `problem`, when there is no plan.
/// `is_slow` gives the waveform the length that it has below the threshold.
bool MakePlan(float hertz, unsigned samples, bool is_slow, ClockPlan& plan, std::string& problem);

}  // namespace host

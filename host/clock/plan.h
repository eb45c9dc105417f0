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

/// Samples per cycle that suit `hertz`: the power of two, from 8 on, that comes nearest to 30720
/// samples a second from below.
unsigned SuitableSamples(float hertz);

/// False, with the reason in `problem`, when there is no plan.
bool MakePlan(float hertz, unsigned samples, ClockPlan& plan, std::string& problem);

}  // namespace host

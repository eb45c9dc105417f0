// The commands of the control socket: what a person or a test asks of the virtual instrument.
//
//   get NAME            ok VALUE
//   set NAME VALUE      ok
//   list                ok get: NAMES get/set: NAMES fault: UNIT(FAULTS) memory: UNITS
//   fault NAME          ok FAULT
//   fault NAME FAULT    ok
//   memory NAME show ADDRESS [COUNT]                               ok HEX
//   memory NAME flip ADDRESS BIT, blank, truncate LENGTH, restore  ok
#pragma once

#include <string>
#include <string_view>

#include "simulator/units.h"

namespace simulator {

inline constexpr std::size_t kLongestControlLine = 1024;
inline constexpr char kControlSocketName[] = "/q5sim.ctl";

/// The answer to one line (without its end): one line without its end, "ok ..." or "error ...".
std::string AnswerControlLine(const Units& units, std::string_view line);

}  // namespace simulator

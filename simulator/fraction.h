// Exact frequencies, and how the control socket shows them.
#pragma once

#include <string>

#include "libs/fraction/fraction.h"

namespace simulator {

using fraction::Fraction;
using fraction::Wide;

/// "N/D = x Hz", or "N Hz" for a whole number.
std::string HertzText(const Fraction& hertz);

}  // namespace simulator

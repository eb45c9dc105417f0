// The frequencies of a sweep.
#pragma once

#include <vector>

namespace host {

/// `points` values, 2 at least, from `from` to `to`, both included: at equal distances, or at equal
/// ratios if `logarithmic`, where both are above 0.
std::vector<double> SweepList(double from, double to, int points, bool logarithmic);

}  // namespace host

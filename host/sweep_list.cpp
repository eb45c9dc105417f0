#include "host/sweep_list.h"

#include <cmath>

namespace host {

std::vector<double> SweepList(double from, double to, int points, bool logarithmic) {
  std::vector<double> list;
  for (int i = 0; i < points - 1; ++i) {
    const double share = static_cast<double>(i) / (points - 1);
    list.push_back(logarithmic ? from * std::pow(to / from, share) : from + (to - from) * share);
  }
  list.push_back(to);  // exactly
  return list;
}

}  // namespace host

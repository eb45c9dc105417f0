// The estimators that acquisition runs, made for each start of it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "common/acquisition/arm_correlation.h"
#include "common/acquisition/averager.h"

namespace acquisition {

/// The shape of acquisition that the estimators follow.
struct FilterSettings {
  int pairs = 0;                   ///< in a block
  double reference_frequency = 0;  ///< Hz
  long sample_clock_divider = 0;
  std::int64_t samples_per_cycle = 0;
  int filterreset = 0;   ///< pairs between the fast filter's resets
  int swapchannels = 0;  ///< 1: the voltage is on channel 2
  std::function<void()> slow_filter_reset = {};
};

struct Filters {
  std::unique_ptr<SineCorrelator> fast;
  std::unique_ptr<SineCorrelator> slow;
  std::unique_ptr<Averager> average;
};

Filters CreateFilters(const FilterSettings& settings);

}  // namespace acquisition

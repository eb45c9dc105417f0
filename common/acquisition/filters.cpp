#include "common/acquisition/filters.h"

namespace acquisition {
namespace {

// The averager's start, until the channels set their own.
constexpr int kAverageModeCh1 = 2;
constexpr int kAverageModeCh2 = 1;
constexpr int kAverageRange = 4;

std::unique_ptr<SineCorrelator> MakeFilter(int filtertype, int resetCount,
                                           const FilterSettings& s) {
  return std::make_unique<ARMCorrelation>(filtertype, resetCount, s.reference_frequency,
                                          s.sample_clock_divider, s.samples_per_cycle,
                                          s.swapchannels, s.pairs, s.slow_filter_reset);
}

}  // namespace

Filters CreateFilters(const FilterSettings& settings) {
  Filters filters;
  filters.fast = MakeFilter(SineCorrelator::kFast, settings.filterreset, settings);
  filters.slow = MakeFilter(SineCorrelator::kSlow, 0, settings);
  filters.average =
      std::make_unique<Averager>(settings.samples_per_cycle, settings.swapchannels, kAverageModeCh1,
                                 kAverageModeCh2, kAverageRange, kAverageRange);
  return filters;
}

}  // namespace acquisition

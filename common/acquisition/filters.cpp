#include "common/acquisition/filters.h"

#include <utility>

#include "common/acquisition/sample_channel.h"

namespace acquisition {
namespace {

// The averager's start, until the channels tell it their own.
constexpr int kAverageModeCh1 = 2;
constexpr int kAverageModeCh2 = 1;
constexpr int kAverageRange = 4;

std::unique_ptr<SineCorrelator> MakeFilter(int filtertype, int resetCount, const FilterSettings& s,
                                           std::shared_ptr<BlockProducts> products) {
  return std::make_unique<ARMCorrelation>(filtertype, resetCount, s.reference_frequency,
                                          s.sample_clock_divider, s.samples_per_cycle,
                                          s.swapchannels, std::move(products));
}

}  // namespace

Filters CreateFilters(const FilterSettings& settings) {
  const auto products = std::make_shared<BlockProducts>(static_cast<std::size_t>(settings.pairs));
  Filters filters;
  filters.fast = MakeFilter(SineCorrelator::kFast, settings.filterreset, settings, products);
  filters.slow = MakeFilter(SineCorrelator::kSlow, 0, settings, products);
  filters.average =
      std::make_unique<Averager>(settings.samples_per_cycle, settings.swapchannels, kAverageModeCh1,
                                 kAverageModeCh2, kAverageRange, kAverageRange);
  if (auto* channels = GetSampleChannels()) {
    channels->set_SineCorrelators(filters.fast.get(), filters.slow.get());
  }
  return filters;
}

void DeleteFilters(Filters& filters) {
  if (auto* channels = GetSampleChannels()) channels->set_SineCorrelators(nullptr, nullptr);
  filters = {};
}

}  // namespace acquisition

#include "common/acquisition/ranging/full_cycle.h"

#include <algorithm>
#include <span>

namespace AcquisitionSystem {

namespace {

constexpr std::int64_t kClipping = 0x7FFFFE;
constexpr double kConverterRange = 16777214.0;

std::span<const ACCUMULATED_STATS> CycleOf(
    const std::array<ACCUMULATED_STATS, FullCycle::kSets>& sets, int count) {
  return std::span(sets).first(static_cast<std::size_t>(std::clamp(count, 0, FullCycle::kSets)));
}

bool NothingMeasured(const ACCUMULATED_STATS& set) { return set.max_sample < set.min_sample; }

}  // namespace

void FullCycle::Reset() {
  aggregate_stats = {};
  full_cycle.fill(aggregate_stats);
  full_cycle_sample_set_counter = 0;
}

void FullCycle::Update(const ACCUMULATED_STATS& set, bool valid, int sets) {
  const std::int64_t mask = std::clamp(sets, 1, kSets) - 1;
  full_cycle.at(static_cast<std::size_t>(full_cycle_sample_set_counter & mask)) = set;
  full_cycle_sample_set_counter = valid ? full_cycle_sample_set_counter + 1 : 0;
  if (mask == 0) {
    if (NothingMeasured(set)) full_cycle_sample_set_counter = 0;
    return;
  }
  ACCUMULATED_STATS& all = aggregate_stats;
  if (full_cycle_sample_set_counter < 2) {
    all = set;
  } else {
    all.min_sample = std::min(all.min_sample, set.min_sample);
    all.max_sample = std::max(all.max_sample, set.max_sample);
    all.avg_sample = (all.avg_sample * (full_cycle_sample_set_counter - 1) + set.avg_sample) /
                     full_cycle_sample_set_counter;
    all.max_amplitude = std::max(all.max_amplitude, set.max_amplitude);
  }
  if (NothingMeasured(all)) full_cycle_sample_set_counter = 0;
}

FullCycle::Extremes FullCycle::GetExtremes(int sets) const {
  if (sets >= 2) return {aggregate_stats.min_sample, aggregate_stats.max_sample};
  Extremes extremes{kNoMinimum, kNoMaximum};
  if (!Available(sets)) return extremes;
  for (const ACCUMULATED_STATS& set : CycleOf(full_cycle, sets)) {
    extremes.min = std::min(extremes.min, set.min_sample);
    extremes.max = std::max(extremes.max, set.max_sample);
  }
  return extremes;
}

std::int64_t FullCycle::Average(int sets) const {
  if (sets >= 2) return aggregate_stats.avg_sample;
  const auto cycle = CycleOf(full_cycle, sets);
  if (!Available(sets) || cycle.empty()) return 0;
  std::int64_t sum = 0;
  for (const ACCUMULATED_STATS& set : cycle) sum += set.avg_sample;
  return sum / static_cast<std::int64_t>(cycle.size());
}

std::int64_t FullCycle::Minimum(int sets) const { return GetExtremes(sets).min; }
std::int64_t FullCycle::Maximum(int sets) const { return GetExtremes(sets).max; }

std::int64_t FullCycle::MaxAmplitude(int sets) const {
  if (!Available(sets)) return kNoAmplitude;
  const std::int64_t mean = Average(sets);
  std::int64_t amplitude = kNoMaximum;
  for (const ACCUMULATED_STATS& set : CycleOf(full_cycle, sets)) {
    amplitude = std::max({amplitude, set.max_sample - mean, mean - set.min_sample});
  }
  return amplitude;
}

int FullCycle::Clipping(int sets) const {
  const Extremes extremes = GetExtremes(sets);
  return (extremes.max > kClipping ? 2 : 0) | (extremes.min < -kClipping ? 1 : 0);
}

double FullCycle::PercentOfRange(int sets) const {
  const Extremes extremes = GetExtremes(sets);
  if (extremes.max < extremes.min) return 0;
  return static_cast<double>(extremes.max - extremes.min) / kConverterRange;
}

bool FullCycle::InRange(int sets) const {
  return Available(sets) && std::ranges::none_of(CycleOf(full_cycle, sets), [](const auto& set) {
           return set.min_sample == kNoMaximum || set.max_sample == kNoMinimum;
         });
}

}  // namespace AcquisitionSystem

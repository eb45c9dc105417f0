// Figures over a cycle against ones made again from the whole history of sets.
#include "common/acquisition/ranging/full_cycle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using AcquisitionSystem::ACCUMULATED_STATS;
using AcquisitionSystem::FullCycle;
using AcquisitionSystem::kNoAmplitude;
using AcquisitionSystem::kNoMaximum;
using AcquisitionSystem::kNoMinimum;

/// The sets since the figures last started, and what they come to.
struct History {
  std::vector<ACCUMULATED_STATS> sets;
  std::int64_t valid = 0;

  void Take(const ACCUMULATED_STATS& set, bool is_valid) {
    valid = is_valid ? valid + 1 : 0;
    if (valid < 2) sets.clear();
    sets.push_back(set);
  }
  std::int64_t Max(std::size_t last) const {
    std::int64_t max = kNoMaximum;
    for (auto s = sets.end() - static_cast<std::ptrdiff_t>(last); s != sets.end(); ++s) {
      max = std::max(max, s->max_sample);
    }
    return max;
  }
  std::int64_t Min(std::size_t last) const {
    std::int64_t min = kNoMinimum;
    for (auto s = sets.end() - static_cast<std::ptrdiff_t>(last); s != sets.end(); ++s) {
      min = std::min(min, s->min_sample);
    }
    return min;
  }
  /// Each step rounds towards 0, so the mean of a long run may be off by less than one a step.
  long double Mean() const {
    long double sum = 0;
    for (const auto& set : sets) sum += static_cast<long double>(set.avg_sample);
    return sum / static_cast<long double>(sets.size());
  }
};

TEST(FullCycle, AgreesWithTheHistory) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::int64_t> sample(-0x7FFFFF, 0x7FFFFF);
  for (const int sets : {1, 2, 8, 32, 128, 10}) {
    FullCycle cycle;
    History history;
    cycle.Reset();
    for (int block = 0; block < 2000; ++block) {
      const std::int64_t a = sample(random);
      const std::int64_t b = sample(random);
      const std::int64_t low = std::min(a, b);
      const std::int64_t high = std::max(a, b);
      const ACCUMULATED_STATS set{low, high, low + (high - low) / 3, high - low, {}};
      const bool valid = random() % 97 != 0;
      cycle.Update(set, valid, sets);
      history.Take(set, valid);
      SCOPED_TRACE(testing::Message() << sets << " sets, block " << block);

      const bool available = history.valid > sets;
      ASSERT_EQ(cycle.Available(sets), available);
      if (sets >= 2) {
        ASSERT_EQ(cycle.Maximum(sets), history.Max(history.sets.size()));
        ASSERT_EQ(cycle.Minimum(sets), history.Min(history.sets.size()));
        ASSERT_NEAR(static_cast<double>(cycle.Average(sets)), static_cast<double>(history.Mean()),
                    static_cast<double>(history.sets.size()));
      } else {
        ASSERT_EQ(cycle.Maximum(sets), available ? high : kNoMaximum);
        ASSERT_EQ(cycle.Minimum(sets), available ? low : kNoMinimum);
        ASSERT_EQ(cycle.Average(sets), available ? set.avg_sample : 0);
      }
      if (!available) {
        ASSERT_EQ(cycle.MaxAmplitude(sets), kNoAmplitude);
      }
      if (available && sets != 10) {  // of which the ring keeps four places only
        const auto held = static_cast<std::size_t>(std::min(sets, FullCycle::kSets));
        const std::int64_t mean = cycle.Average(sets);
        ASSERT_EQ(cycle.MaxAmplitude(sets),
                  std::max(history.Max(held) - mean, mean - history.Min(held)));
      }
    }
  }
}

TEST(FullCycle, NothingMeasuredStartsAgain) {
  for (const int sets : {1, 4}) {
    FullCycle cycle;
    cycle.Reset();
    for (int block = 0; block < 10; ++block) cycle.Update({}, true, sets);
    EXPECT_EQ(cycle.Count(), 0);
    EXPECT_EQ(cycle.Clipping(sets), 0);
    EXPECT_EQ(cycle.PercentOfRange(sets), 0);
    EXPECT_FALSE(cycle.InRange(sets));
  }
}

TEST(FullCycle, ClipsAtEitherEnd) {
  const struct {
    std::int64_t min, max;
    int clipping;
  } cases[] = {{-0x7FFFFE, 0x7FFFFE, 0},
               {-0x7FFFFE, 0x7FFFFF, 2},
               {-0x7FFFFF, 0x7FFFFE, 1},
               {-0x800000, 0x7FFFFF, 3}};
  for (const auto& c : cases) {
    for (const int sets : {1, 4}) {
      FullCycle cycle;
      cycle.Reset();
      const ACCUMULATED_STATS set{c.min, c.max, 0, 0x7FFFFF, {}};
      for (int block = 0; block <= sets; ++block) cycle.Update(set, true, sets);
      EXPECT_EQ(cycle.Clipping(sets), c.clipping);
      EXPECT_DOUBLE_EQ(cycle.PercentOfRange(sets),
                       static_cast<double>(c.max - c.min) / (2.0 * 0x7FFFFF));
      EXPECT_TRUE(cycle.InRange(sets));
    }
  }
}

}  // namespace

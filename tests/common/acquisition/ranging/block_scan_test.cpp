// What a block's status bits come to, against rules over whole sequences of conditions.
#include "common/acquisition/ranging/block_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "common/acquisition/sample_word.h"
#include "tests/common/acquisition/ranging/sample_blocks.h"

namespace {

using SignalCalculator::BlockScan;
using SignalCalculator::ChannelScan;
using SignalCalculator::IsCleanBlock;
using SignalCalculator::ScanBlock;

enum Condition : unsigned { kClean, kOver, kFault, kBusy };
using Conditions = std::vector<unsigned>;

/// Detected, cleared (a later sample of one of `clearing`), persisted.
int ByteOf(const Conditions& run, unsigned condition, const Conditions& clearing) {
  const auto first = std::ranges::find(run, condition);
  if (first == run.end()) return 0;
  const bool cleared =
      std::ranges::find_first_of(first, run.end(), clearing.begin(), clearing.end()) != run.end();
  return 4 | (cleared ? 2 : 0) | (run.back() == condition ? 1 : 0);
}

/// The first fault of a block spoils it unless it ends after one or two samples, within the block.
bool Spoilt(const Conditions& run, bool dc_test) {
  if (run.back() == kFault) return true;
  const auto first = std::ranges::find(run, static_cast<unsigned>(kFault));
  if (first == run.end() || dc_test) return false;
  const auto clean_at = [&](int after) {
    return run.end() - first > after && first[after] == kClean;
  };
  return !clean_at(1) && !clean_at(2);
}

void Expect(const ChannelScan& scan, const Conditions& run, bool dc_test) {
  EXPECT_EQ(scan.over_range, std::ranges::count(run, static_cast<unsigned>(kOver)));
  EXPECT_EQ(scan.status.overrange, ByteOf(run, kOver, {kClean, kFault}));
  EXPECT_EQ(scan.status.fault, ByteOf(run, kFault, {kClean, kOver}));
  EXPECT_EQ(scan.status.cpld_busy, ByteOf(run, kBusy, {kClean, kOver, kFault}));
  EXPECT_EQ(scan.reset_wanted, Spoilt(run, dc_test));
}

TEST(BlockScan, EveryShortPattern) {
  constexpr int kPairs = 6;
  for (unsigned pattern = 0; pattern < 1u << (2 * kPairs); ++pattern) {
    Conditions first;
    for (int i = 0; i < kPairs; ++i) first.push_back(pattern >> (2 * i) & 3);
    const Conditions second(first.rbegin(), first.rend());
    std::vector<int> block = CleanBlock(kPairs);
    for (int i = 0; i < kPairs; ++i) {
      Mark(block, 0, i, first[static_cast<std::size_t>(i)]);
      Mark(block, 1, i, second[static_cast<std::size_t>(i)]);
    }
    SCOPED_TRACE(pattern);
    ASSERT_EQ(IsCleanBlock(block), pattern == 0);
    const bool dc_test = pattern % 2 == 1;
    const BlockScan scan = ScanBlock(block, dc_test);
    EXPECT_FALSE(scan.bad_sequence);
    Expect(scan.results[0], first, dc_test);
    Expect(scan.results[1], second, dc_test);
    if (HasFailure()) return;
  }
}

// One wrong bit anywhere in the low byte: the quick pass and the full one must agree on it.
TEST(BlockScan, OneBitAnywhere) {
  std::mt19937 random(11);
  for (const int pairs : {1, 31, 32, 300, 512, 1024, 4096}) {
    const std::vector<int> clean = CleanBlock(pairs);
    EXPECT_TRUE(IsCleanBlock(clean));
    for (int round = 0; round < 500; ++round) {
      std::vector<int> block = clean;
      const std::size_t at = random() % block.size();
      const unsigned bit = random() % 8;
      block[at] = static_cast<int>(static_cast<unsigned>(block[at]) ^ 1u << bit);
      const bool second = at % 2 == 1;
      const unsigned sequence = second ? static_cast<unsigned>(pairs - 1) >> 8 : 0x3F;
      const bool bad_sequence = (sequence >> bit & 1) != 0;
      SCOPED_TRACE(testing::Message() << pairs << " pairs, word " << at << ", bit " << bit);
      ASSERT_EQ(IsCleanBlock(block), !bad_sequence && bit < 6);
      const BlockScan scan = ScanBlock(block, false);
      ASSERT_EQ(scan.bad_sequence, bad_sequence);
      ASSERT_EQ(scan.results[second].status.Word() != 0, bit >= 6);
      ASSERT_EQ(scan.results[!second].status.Word(), 0U);
    }
  }
}

TEST(BlockScan, EveryFourthBusyBlockReadsTheCpld) {
  std::vector<int> block = CleanBlock(512);
  for (int i = 100; i < 200; ++i) Mark(block, 1, i, kBusy);
  int reads = 0;
  for (int round = 0; round < 40; ++round) {
    reads += ScanBlock(block, false).results[1].read_cpld ? 1 : 0;
  }
  EXPECT_EQ(reads, 10);
}

}  // namespace

// The record of safety faults.
#include "common/msg/state/safety_nak.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using Msg::SafetyNak;
using Words = std::vector<int>;

Words ErrorsOf(const SafetyNak& record) {
  const auto copy = record.Copy();
  Words words;
  for (int i = 0; i < copy.len; ++i) {
    words.push_back(copy.errcode.at(static_cast<std::size_t>(i)) & 0xFFFF);
  }
  return words;
}

TEST(SafetyNak, ReportsEachTypeOnce) {
  SafetyNak record;
  EXPECT_FALSE(record.CheckSafetyFault());
  EXPECT_TRUE(record.Add(514, 0x48, 1, 0));
  for (int i = 0; i < 9; ++i) EXPECT_FALSE(record.Add(514, 0x48, 1, 0));
  EXPECT_FALSE(record.Add(514, 0x23, 1, 11)) << "another device";
  EXPECT_EQ(record.Copy().etlen, 1);
  EXPECT_EQ(ErrorsOf(record), (Words{12802, 0x48, 1, 0}));

  EXPECT_TRUE(record.Add(1039));
  EXPECT_TRUE(record.Add(32, -1));
  EXPECT_FALSE(record.Add(1039, 5));
  EXPECT_EQ(record.Copy().etlen, 3);
  EXPECT_EQ(ErrorsOf(record), (Words{12802, 0x48, 1, 0, 1039, 0x1020, 0xFFFF}));

  record.Clear();
  EXPECT_FALSE(record.CheckSafetyFault());
  EXPECT_EQ(record.Copy().etlen, 0);
  EXPECT_TRUE(record.Add(514, 0x23, 1, 11));
  EXPECT_EQ(ErrorsOf(record), (Words{12802, 0x23, 1, 11}));
}

TEST(SafetyNak, IsFullAt64Words) {
  const std::vector<std::int16_t> many(20, 7);
  SafetyNak record;
  for (int code = 1; code <= 63; ++code) EXPECT_TRUE(record.Add(code));
  EXPECT_TRUE(record.AddWords(100, many)) << "the last one may be as long as it gets";
  EXPECT_EQ(record.Copy().len, 63 + 16);
  EXPECT_EQ(record.Copy().errcode[63] & 0xFFFF, 0xF000 | 100);
  EXPECT_FALSE(record.Add(101));
  EXPECT_FALSE(record.Add(1));
  EXPECT_EQ(record.Copy().len, 63 + 16);
  EXPECT_EQ(record.Copy().etlen, 64);

  record.Clear();
  for (int code = 1; code <= 64; ++code) EXPECT_TRUE(record.Add(code));
  EXPECT_FALSE(record.Add(65));
  EXPECT_EQ(record.Copy().etlen, 64);
}

TEST(SafetyNak, StaysConsistentBetweenThreads) {
  SafetyNak record;
  {
    std::jthread adder([&] {
      for (int i = 0; i < 5000; ++i) record.Add(514 + i % 20, 1, 2, 3);
    });
    for (int i = 0; i < 500; ++i) {
      const auto copy = record.Copy();
      EXPECT_EQ(copy.len, 4 * copy.etlen);
      record.Clear();
    }
  }
  record.Clear();
  EXPECT_TRUE(record.Add(514, 1, 2, 3));
}

}  // namespace

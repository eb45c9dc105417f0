// The number file: what is taken from one, and what is written.
#include "common/log/number_file.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace Logger;

TEST(NumberFile, OnlyNumbersOfTheRingAreAccepted) {
  const struct {
    std::string text;
    int next;  // 0: refused
  } cases[] = {
      {"1 1\n", 1},
      {"3 20\n0: /media/x\n", 20},
      {"", 0},
      {"5", 0},
      {"5 moslog", 0},
      {"5 21", 0},
      {"-5 3", 0},
      {"99999999999999999999 5", 0},
      {std::string("5\0 6", 4), 0},
      {std::string(1 << 20, '1'), 0},
  };
  for (const auto& c : cases) {
    const auto numbers = ParseNumberFile(c.text);
    EXPECT_EQ(numbers ? numbers->next : 0, c.next) << c.text.substr(0, 40);
  }
}

TEST(NumberFile, ListsTheRingFromTheNextNumberOn) {
  for (int next : {1, 2, 20}) {
    for (int rotations : {0, 3, 18, 19, 500}) {
      const std::string text = FormatNumberFile({4, next}, rotations, "/d/", "moslog");
      ASSERT_TRUE(ParseNumberFile(text));
      EXPECT_EQ(ParseNumberFile(text)->next, next);
      std::istringstream lines(text);
      std::string line;
      std::getline(lines, line);
      int seen = 0, of_this_run = 0;
      for (; std::getline(lines, line); ++seen) {
        const int number = (next - 1 + seen) % 20 + 1;
        char expected[40];
        std::snprintf(expected, sizeof expected, ": /d/moslog.%02d", number);
        EXPECT_EQ(line.substr(1), expected);
        of_this_run += line[0] == '1';
      }
      EXPECT_EQ(seen, 20);
      EXPECT_EQ(of_this_run, std::min(rotations + 1, 20));
    }
  }
}

}  // namespace

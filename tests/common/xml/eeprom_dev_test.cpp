// Revisions and dates of boards.
#include "common/xml/eeprom_dev.h"

#include <gtest/gtest.h>

namespace {

TEST(EepromDev, RevisionTexts) {
  const struct {
    const char* text;
    int revision;
  } cases[] = {{"7", 7},    {"12b", 12},   {"A", 100}, {"Z", 125},  {"AA", 126}, {"AB", 127},
               {"BA", 152}, {nullptr, 55}, {"", 55},   {"ABC", 55}, {"?", 55}};
  for (const auto& c : cases) {
    Dev::BackplanePROM board;
    board.SetRevision("55");
    board.SetRevision(c.text);
    EXPECT_EQ(board.GetRevision(), c.revision) << (c.text == nullptr ? "null" : c.text);
  }
}

TEST(EepromDev, SignOfBoardsChangedInMay2015) {
  const struct {
    const char* text;
    int action;
  } cases[] = {{"19/05/2015", 0}, {"20/05/2015", 1}, {"20.05.2015", 1}, {"31-04-2015", 0},
               {"01/06/2015", 1}, {"31/12/2014", 0}, {"01/01/2016", 1}, {"2/5/2016", 0},
               {"", 0},           {nullptr, 0},      {"xx/yy/zzzz", 0}};
  const Dev::MainRefEEPROM board;
  for (const auto& c : cases) {
    EXPECT_EQ(board.ChkBrdCalDate(c.text), c.action) << (c.text == nullptr ? "null" : c.text);
  }
}

}  // namespace

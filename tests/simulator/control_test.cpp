#include "simulator/control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/control_server.h"
#include "tests/platform/test_instrument.h"

namespace simulator {
namespace {

using testing::StartsWith;

class ControlTest : public testing::Test {
 protected:
  ControlTest() {
    units_.AddValue("a.fixed", [] { return "two\nlines"; });
    units_.AddValue(
        "a.level", [this] { return level_; },
        [this](std::string_view text) {
          level_ = text;
          return text != "bad";
        });
    units_.AddFaults("a", faults_);
  }

  std::string level_ = "1";
  FaultSwitch faults_{{Fault::kOff, Fault::kSlow, Fault::kIntermittent}, 1};
  Units units_;
};

TEST_F(ControlTest, AnswersEveryLineWithOneLine) {
  const struct {
    std::string line;
    std::string answer;  ///< or its beginning
  } cases[] = {
      {"get a.level", "ok 1"},
      {"  set \t a.level   7 ", "ok"},
      {"get a.level", "ok 7"},
      {"set a.level bad", "error a.level cannot be bad"},
      {"set a.fixed 1", "error a.fixed is read only"},
      {"get", "error expected get NAME"},
      {"list", "ok get: a.fixed get/set: a.level fault: a(off,slow,intermittent)"},
      {"fault a", "ok ok"},
      {"fault a slow 250", "ok"},
      {"fault a", "ok slow 250"},
      {"fault a melted", "error expected ok, off"},
      {"fault a slow 0", "error expected one number, 1 to 60000"},
      {"fault a", "ok slow 250"},
      {"", "error empty line"},
      {"jump", "error expected get, set, list, fault or memory"},
      {std::string("get a.level\0", 12), "error not a line of text"},
      {std::string(kLongestControlLine + 1, 'x'), "error line too long"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(AnswerControlLine(units_, c.line), StartsWith(c.answer)) << c.line;
  }
}

TEST_F(ControlTest, IntermittentComesFromTheSeed) {
  ASSERT_EQ(AnswerControlLine(units_, "fault a intermittent 30"), "ok");
  FaultSwitch twin({Fault::kIntermittent}, 1);
  const std::string_view words[] = {"intermittent", "30"};
  ASSERT_EQ(twin.Set(words), "");
  int off = 0;
  for (int i = 0; i < 1000; ++i) {
    const Fault fault = faults_.Now();
    EXPECT_EQ(fault, twin.Now());
    off += fault == Fault::kOff ? 1 : 0;
  }
  EXPECT_NEAR(off, 300, 60);  // four sigma
}

}  // namespace
}  // namespace simulator

#include "common/msg/state/safety_error.h"

#include <gtest/gtest.h>

#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/records/module_id.h"

namespace {

using Words = std::vector<std::int16_t>;

TEST(SafetyError, KeepsWordsInOrderWithTheirFirstData) {
  Msg::SafetyError errors(Msg::MAIN_MODULE);
  EXPECT_FALSE(errors.IsPresent());
  EXPECT_TRUE(errors.SetErrorCode(700));
  EXPECT_FALSE(errors.SetErrorCode(700));
  const int first[] = {7, 0x12345};
  const int second[] = {8, 9};
  EXPECT_TRUE(errors.SetErrorCode(146, first));
  EXPECT_FALSE(errors.SetErrorCode(146, second));
  EXPECT_TRUE(errors.SetErrorCode(700, second));  // the plain code says it already
  EXPECT_EQ(errors.GetErrors(), (Words{1, 700, 2 << 12 | 146, 7, 0x2345}));
  errors.ClearErrors();
  EXPECT_EQ(errors.GetErrors(), Words{});
  int taken = 0;
  for (int code = 100; code < 200; ++code) taken += errors.SetErrorCode(code) ? 1 : 0;
  EXPECT_EQ(taken, 59);  // and the module's code
}

TEST(SafetyError, TheHighestMajorCodeOfABitmapCounts) {
  Msg::HmpErrorRep::InitMajorErrors();
  EXPECT_EQ(Msg::FindFPMajorCode(149, 0), 4);
  EXPECT_EQ(Msg::FindFPMajorCode(149, 3), 833);
  EXPECT_EQ(Msg::FindFPMajorCode(149 + 65536, 1 - 65536), 832);
  EXPECT_EQ(Msg::FindFPMajorCode(1, 0xFFFF), 4);
}

}  // namespace

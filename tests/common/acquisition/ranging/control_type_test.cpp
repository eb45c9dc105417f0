// Which ranging a test gets, and the words and texts of a channel.
#include "common/acquisition/ranging/control_type.h"

#include <gtest/gtest.h>

#include "common/msg/records/hmp_test_setup.h"
#include "common/msg/records/input_mode.h"

namespace {

using namespace AcquisitionSystem;  // NOLINT(google-build-using-namespace)
using Msg::AC_Volt;
using Msg::ACDC_Current;
using Msg::DC_Volt;
using Msg::DCIR;

TEST(ControlType, FollowsTheTest) {
  constexpr int kSweep = Msg::TEST_FREQUENCY_SWEEP_DFR;
  constexpr int kOther = Msg::TEST_HVVFPF;
  const struct {
    const char* what;
    ControlRequest request;
    RNG_CONTROL_TYPE type;
  } cases[] = {
      {"demagnetizing, whatever else",
       {0, false, DC_Volt, Msg::TEST_DEMAG, true, false, 5, 5, 5},
       RNG_CONTROL_TGT_LVL},
      {"DC voltage, range given",
       {0, false, DC_Volt, kOther, true, true, 1, 0, 0},
       RNG_CONTROL_MANUAL},
      {"DC voltage", {0, false, DC_Volt, kOther, true, false, 0, 3, 3}, RNG_CONTROL_AUTO},
      {"DC voltage, source", {0, true, DC_Volt, kOther, true, false, 0, 0, 0}, RNG_CONTROL_TGT_LVL},
      {"DC voltage, slow", {0, false, DC_Volt, kOther, true, true, 0, 0, 0}, RNG_CONTROL_MAKESAFE},
      {"DC current, range given",
       {1, false, ACDC_Current, kOther, true, false, 0, 0, 7},
       RNG_CONTROL_TGT_LVL},
      {"DC resistance", {1, false, DCIR, kOther, true, false, 4, 0, 0}, RNG_CONTROL_AUTO},
      {"AC voltage, scale given",
       {0, false, AC_Volt, Msg::TEST_HVTTR, false, false, 0, 2, 0},
       RNG_CONTROL_MANUAL},
      {"AC voltage of unknown level",
       {0, false, AC_Volt, Msg::TEST_HVTTR, false, false, 0, 0, 0},
       RNG_CONTROL_AUTO},
      {"exciting current",
       {0, false, DC_Volt, Msg::TEST_EXCITING_CURRENT, false, true, 0, 0, 0},
       RNG_CONTROL_AUTO},
      {"AC voltage", {0, false, AC_Volt, kOther, false, true, 9, 0, 9}, RNG_CONTROL_TGT_LVL},
      {"current on channel 1",
       {0, false, ACDC_Current, kOther, false, false, 0, 2, 7},
       RNG_CONTROL_AUTO},
      {"AC current, range given",
       {1, false, ACDC_Current, kSweep, false, true, 0, 0, 7},
       RNG_CONTROL_MANUAL},
      {"slow sweep", {1, false, ACDC_Current, kSweep, false, true, 0, 0, 0}, RNG_CONTROL_EXTRAP},
      {"sweep", {1, false, ACDC_Current, kSweep, false, false, 0, 0, 0}, RNG_CONTROL_AUTO},
      {"slow", {1, false, ACDC_Current, kOther, false, true, 0, 0, 0}, RNG_CONTROL_MAKESAFE},
      {"no such channel", {2, false, AC_Volt, kOther, false, false, 0, 0, 0}, RNG_CONTROL_MAKESAFE},
      {"source, slow sweep",
       {0, true, ACDC_Current, kSweep, false, true, 0, 0, 0},
       RNG_CONTROL_EXTRAP},
      {"source, current, range given",
       {0, true, ACDC_Current, kOther, false, false, 1, 1, 1},
       RNG_CONTROL_AUTO},
      {"source, voltage", {1, true, AC_Volt, kOther, false, true, 0, 0, 0}, RNG_CONTROL_TGT_LVL},
      {"source, current",
       {1, true, ACDC_Current, kOther, false, true, 0, 0, 0},
       RNG_CONTROL_MAKESAFE},
  };
  for (const auto& c : cases) EXPECT_EQ(FollowingControlType(c.request), c.type) << c.what;
}

TEST(ControlType, DecidesWhenTheOffsetIsNulled) {
  const struct {
    RNG_CONTROL_TYPE control;
    DC_OFFSET_TYPE plain, manual_late;
  } cases[] = {{RNG_CONTROL_AUTO, DC_OFFSET_LATE, DC_OFFSET_LATE},
               {RNG_CONTROL_EXTRAP, DC_OFFSET_DELAYED, DC_OFFSET_DELAYED},
               {RNG_CONTROL_MANUAL, DC_OFFSET_EARLY, DC_OFFSET_LATE},
               {RNG_CONTROL_TGT_LVL, DC_OFFSET_EARLY, DC_OFFSET_EARLY},
               {RNG_CONTROL_MAKESAFE, DC_OFFSET_EARLY, DC_OFFSET_EARLY}};
  for (const auto& c : cases) {
    EXPECT_EQ(OffsetTypeOf(c.control, false), c.plain);
    EXPECT_EQ(OffsetTypeOf(c.control, true), c.manual_late);
  }
}

TEST(ChannelTexts, OfWordsOutsideTheirTables) {
  EXPECT_STREQ(status_flag_text(0), "Valid_Data");
  EXPECT_STREQ(status_flag_text(0x8000), "SAMPLE_STATUS_FAULT");
  EXPECT_STREQ(status_flag_text(0x0101), "multiple bits set");
  EXPECT_STREQ(control_type_text(4), "RNG_CONTROL_EXTRAP");
  EXPECT_STREQ(control_type_text(5), "RNG_CONTROL_Unknown");
  EXPECT_STREQ(control_type_text(-1), "RNG_CONTROL_Unknown");
  EXPECT_STREQ(offset_type_text(25), "DC_OFFSET_LATE");
  EXPECT_STREQ(offset_type_text(22), "DC_OFFSET_Unknown");
  EXPECT_EQ(get_event_text(ACQ_EVT_DRIVE_CHANGES_COMPLETE), "DRV_CHANGES_COMPLETE");
  EXPECT_EQ(get_event_text(ACQ_EVT_SRC_ENABLED), "SRC_ENABLED");
  EXPECT_EQ(get_event_text(14), "invalid evt 14");
  EXPECT_EQ(get_event_text(0), "invalid evt 0");
}

}  // namespace

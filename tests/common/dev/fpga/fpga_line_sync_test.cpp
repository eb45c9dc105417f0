// The line-sync tracker and the estimator of the line's frequency.
#include "common/dev/fpga/fpga_line_sync.h"

#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using fpga_test::Driver;
using fpga_test::FpgaTest;

TEST_F(FpgaTest, TheTrackerTakesParametersWithinTheirLimits) {
  const struct {
    int rate, threshold, pulses;
    bool good;
  } cases[] = {
      {2, 1, 255, true},  {256, 255, 1, true},  {16, 16, 32, true},   {1, 16, 32, false},
      {0, 16, 32, false}, {3, 16, 32, false},   {512, 16, 32, false}, {255, 16, 32, false},
      {16, 0, 32, false}, {16, 256, 32, false}, {16, 16, 0, false},   {16, 16, 256, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.rate << " " << c.threshold << " " << c.pulses);
    driver.Reset({{2, 0x3091}, {20, 0x3016}, {74, 0x3FFF}});
    const Dev::lineSyncTrackerParams params{static_cast<std::uint16_t>(c.rate),
                                            static_cast<std::uint16_t>(c.threshold),
                                            static_cast<std::uint16_t>(c.pulses)};
    EXPECT_EQ(fpga.ConfigureLineSyncTracker(params, 1), c.good ? 0 : Dev::LF_EST_INVALID_PARAMETER);
    if (!c.good) {
      EXPECT_TRUE(driver.writes.empty());
      continue;
    }
    unsigned log2 = 0;
    while (1 << log2 < c.rate) ++log2;
    const unsigned status = 0x201F | (log2 - 1) << 10;
    const Driver::Writes expected = {{90, c.threshold}, {96, c.pulses}, {20, 0x3006},
                                     {20, 0x1006},      {74, 0x1FFF},   {20, 0x3006},
                                     {82, 0x20},        {74, status},   {20, 0x3016}};
    EXPECT_EQ(driver.writes, expected);
  }
  driver.Reset({{2, 145}, {20, 0x3016}, {74, 0x3FFF}});
  EXPECT_EQ(fpga.ConfigureLineSyncTracker({}, 0), 0);
  EXPECT_EQ(driver.writes, (Driver::Writes{{20, 0x1016}, {74, 0x1FFF}}));
}

TEST_F(FpgaTest, AnOldFpgaHasNoLineSync) {
  driver.Reset({{2, 0x3090}, {20, 0x2010}, {74, 0xF02F}});  // 144
  m3x64_num hertz;
  EXPECT_EQ(fpga.ConfigureLineSyncTracker({16, 16, 32}, 1), Dev::LF_EST_NOT_SUPPORTED);
  EXPECT_EQ(fpga.SourceInLineSync(), Dev::LF_EST_NOT_SUPPORTED);
  EXPECT_EQ(fpga.StartLineFreqEstimator(4), Dev::LF_EST_NOT_SUPPORTED);
  EXPECT_EQ(fpga.ReadLineFreqEstimate(&hertz), Dev::LF_EST_NOT_SUPPORTED);
  EXPECT_TRUE(driver.writes.empty());
}

TEST_F(FpgaTest, LockAndPolarityAreRead) {
  const struct {
    unsigned wfctrl, status;
    int in_sync;
  } locks[] = {{0x2010, 0x6000, 1},
               {0x2010, 0x2000, 0},
               {0x2010, 0x4000, 0},
               {0x2000, 0x6000, 0},
               {0x0010, 0x6000, 0}};
  for (const auto& lock : locks) {
    driver.Reset({{2, 145}, {20, lock.wfctrl}, {74, lock.status}});
    EXPECT_EQ(fpga.SourceInLineSync(), lock.in_sync) << lock.wfctrl << " " << lock.status;
  }
  const struct {
    unsigned wfctrl, polarity;
    int result;
  } polarities[] = {{0, 0, 0},      {0x8100, 1, 0},  {0x8000, 0, 1}, {0x100, 1, 1},
                    {0x100, 0, -1}, {0x8000, 1, -1}, {0x8100, 7, 0}};
  for (const auto& c : polarities) {
    driver.Reset({{20, c.wfctrl}});
    EXPECT_EQ(fpga.CheckWFPolarityCorrect(c.polarity), c.result) << c.wfctrl << " " << c.polarity;
  }
}

TEST_F(FpgaTest, TheEstimatorStartsAndReads) {
  driver.Reset({{2, 145}, {22, 0xC022}, {74, 0xBFFF}});
  EXPECT_EQ(fpga.StartLineFreqEstimator(32), Dev::LF_EST_INVALID_PARAMETER);
  EXPECT_TRUE(driver.writes.empty());
  EXPECT_EQ(fpga.StartLineFreqEstimator(7), 0);
  EXPECT_EQ(fpga.StartLineFreqEstimator(0), 0);
  EXPECT_EQ(driver.writes,
            (Driver::Writes{{22, 0xC002}, {74, 0xBFC7}, {74, 0x3FE7}, {74, 0x3FC0}, {74, 0x3FC0}}));

  // five cycles of 47 Hz take 1329787 counts; a tenth above five times 265957 is 1462763
  const struct {
    unsigned status;
    unsigned long count;
    int result;
    m3x64_num hertz;
  } cases[] = {
      {0x8025, 1041666, 0, {60, 40, 1041666}},  // 62500000 = 60 x 1041666 + 40
      {0x8025, 1250000, 0, {50, 0, 1250000}},
      {0x8025, 1462763, 0, {42, 1063954, 1462763}},
      {0x8025, 1462764, Dev::LF_EST_COUNT_TOO_BIG, {}},
      {0x0025, 1250000, Dev::LF_EST_NOT_DONE, {}},
      {0x0025, 0, Dev::LF_EST_ROLLOVER, {}},
      {0x8025, 0, Dev::LF_EST_ROLLOVER, {}},
      {0x8005, 1250000, Dev::LF_EST_DISABLED, {}},
      {0x8020, 1, Dev::LF_EST_COUNT_TOO_BIG, {}},
      {0x803F, 0xFFFFFFFF, Dev::LF_EST_COUNT_TOO_BIG, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.status << " " << c.count);
    driver.Reset({{2, 145},
                  {74, c.status},
                  {76, static_cast<unsigned>(c.count >> 16)},
                  {78, static_cast<unsigned>(c.count & 0xFFFF)}});
    m3x64_num hertz;
    EXPECT_EQ(fpga.ReadLineFreqEstimate(&hertz), c.result);
    EXPECT_EQ(hertz, c.hertz);
  }
}

}  // namespace

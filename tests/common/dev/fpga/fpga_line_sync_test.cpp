// The estimator of the line's frequency.
#include "common/dev/fpga/fpga_line_sync.h"

#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using fpga_test::Driver;
using fpga_test::FpgaTest;

TEST_F(FpgaTest, TheEstimatorStartsAndReads) {
  driver.Reset({{2, 0x3090}});
  EXPECT_EQ(fpga.StartLineFreqEstimator(4), Dev::LF_EST_NOT_SUPPORTED);
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
      {0x8025, 1462763, 0, {42, 1063954, 1462763}},
      {0x8025, 1462764, Dev::LF_EST_COUNT_TOO_BIG, {}},
      {0x0025, 1250000, Dev::LF_EST_NOT_DONE, {}},
      {0x8025, 0, Dev::LF_EST_ROLLOVER, {}},
      {0x8005, 1250000, Dev::LF_EST_DISABLED, {}},
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

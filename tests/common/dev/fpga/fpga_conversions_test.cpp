// Volts and amps as multiplier counts, and the hard limits.
#include <cmath>

#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using fpga_test::FpgaTest;

constexpr long double kSqrt2 = 1.41421356237309504880L;

// Counts are whole numbers, so the independent value may lie on either side of one.
void ExpectCounts(int counts, long double exact, long double rounding) {
  EXPECT_GE(counts, std::ceil(exact - rounding));
  EXPECT_LE(counts, std::ceil(exact + rounding));
}

TEST_F(FpgaTest, CountsAreThePeakOfTheEffectiveValue) {
  constexpr float kScale = 0.0123F;
  constexpr float kHigh = 62.5F;
  data.lvscalefactor = data.ampscalefactor = kScale;
  data.hvscalefactor = kHigh;
  for (const float value : {0.0F, 0.01F, 17.3F, 250.0F, 12000.0F}) {
    for (const int source : {0, 1, 2, 3, 5, 6}) {
      SCOPED_TRACE(testing::Message() << value << " " << source);
      data.sourcemode = static_cast<short>(source);
      const long double peak = source == 3 || source == 5 ? 1 : kSqrt2;
      const long double exact = value / static_cast<long double>(kScale);
      const long double volts = source == 0 ? exact / kHigh : exact;
      const long double single = 3e-7L;  // of a quotient in single precision
      ExpectCounts(fpga.VoltsToSample(value), volts * peak, volts * single);
      ExpectCounts(fpga.AmpsToSample(value), exact * peak, exact * single);
    }
  }
  data.sourcemode = Msg::internalDCLVVoltageSourceE;
  data.lvscalefactor = data.ampscalefactor = 0.5F;
  EXPECT_EQ(fpga.VoltsToStepvalue(100, 8), 25);
  EXPECT_EQ(fpga.VoltsToStepvalue(100, 0), 200);
}

TEST_F(FpgaTest, HardLimitsStopAtTheLargestCounts) {
  SetTest(Msg::TEST_NONE, Msg::internalDCLVVoltageSourceE, 0);
  data.lvmaxvoltage = 300;
  data.lvscalefactor = 0.02F;
  data.maxamperage = 100;
  data.ampscalefactor = 0.01F;
  fpga.Init();  // 300 / 0.02 x sqrt 2 = 21213.2, so 21214
  const struct {
    bool amps;
    int value, percent;
    unsigned limit;
  } cases[] = {
      {false, 100, 10, 5500}, {false, 424, 0, 21200}, {false, 425, 0, 21214}, {false, -5, 0, 0},
      {true, 100, 5, 10500},  {true, 327, 0, 32700},  {true, 328, 0, 32767},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    driver.Reset();
    EXPECT_EQ(c.amps ? fpga.SetFPGAHardLimitRT(c.value, c.percent)
                     : fpga.SetFPGAHardLimit(c.value, c.percent),
              0);
    EXPECT_EQ(driver.registers[64], c.limit);
    EXPECT_EQ(data.hardlimit, c.limit);
  }
  driver.all_fail = true;
  EXPECT_EQ(fpga.SetFPGAHardLimit(100, 10), -1);
  EXPECT_EQ(data.hardlimit, 0);
}

}  // namespace

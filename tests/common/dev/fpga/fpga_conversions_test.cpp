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
  for (const float scale : {0.0078125F, 0.0123F, 1.0F}) {
    for (const float high : {1.0F, 62.5F, 101.3F}) {
      for (const float value : {0.0F, 0.01F, 1.0F, 17.3F, 250.0F, 12000.0F}) {
        SCOPED_TRACE(testing::Message() << scale << " " << high << " " << value);
        data.lvscalefactor = data.ampscalefactor = scale;
        data.hvscalefactor = high;
        const long double exact = static_cast<long double>(value) / scale;
        for (const int source : {0, 1, 2, 3, 5, 6}) {
          data.sourcemode = static_cast<short>(source);
          const bool dc = source == 3 || source == 5;
          const long double single = 3e-7L;  // of a quotient in single precision
          if (source == 0) {
            ExpectCounts(fpga.VoltsToSample(value), exact / high * kSqrt2, exact / high * single);
          } else {
            ExpectCounts(fpga.VoltsToSample(value), exact * (dc ? 1 : kSqrt2),
                         exact * (dc ? single : 1e-15L));
          }
          ExpectCounts(fpga.AmpsToSample(value), exact * (dc ? 1 : kSqrt2),
                       exact * (dc ? single : 1e-15L));
        }
      }
    }
  }
  data.sourcemode = Msg::internalDCLVVoltageSourceE;
  data.lvscalefactor = data.ampscalefactor = 0.5F;
  EXPECT_EQ(fpga.VoltsToStepvalue(100, 8), 25);
  EXPECT_EQ(fpga.AmpsToStepvalue(100, 3), 67);
  EXPECT_EQ(fpga.VoltsToStepvalue(100, 0), 200);
  data.lvscalefactor = 0;
  EXPECT_EQ(fpga.VoltsToSample(1), INT32_MAX);
  EXPECT_EQ(fpga.VoltsToSample(0), 0);
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
      {false, 100, 10, 5500},    {false, 7, 15, 400},        {false, 424, 0, 21200},
      {false, 425, 0, 21214},    {false, 32000, 100, 21214}, {false, -5, 0, 0},
      {true, 100, 5, 10500},     {true, 327, 0, 32700},      {true, 328, 0, 32767},
      {true, 32000, 100, 32767},
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

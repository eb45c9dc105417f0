// How many samples a cycle gets.
#include "common/signalh/sample_rate.h"

#include <gtest/gtest.h>

#include <libconfig.h++>
#include <limits>

#include "common/msg/state/hmp_data.h"
#include "common/signalh/signal_shared.h"

namespace {

using signalh::CalculateSamplesPerCyc;

class SampleRate : public testing::Test {
 protected:
  SampleRate() {
    signalh::Share({data, data, data, data, data});
    data.minsamplingrate = 25000;
    data.maxsamplingrate = 50000;
    data.vlfthreshold = 1;
    data.testype = Msg::TEST_HVVFPF;
    data.modesw1 = Msg::MODESW1_FILTER;
  }
  int At(float freq, int interrupts) {
    data.SetFrequency(freq);
    return CalculateSamplesPerCyc(freq, interrupts);
  }
  libconfig::Config config;
  Msg::HMPData data{config, Msg::MEAS_MODULE};
};

// Expected values by hand: round interrupts * 512 / f to a power of two, then double the rate while
// it is below the least rate or the filter's Nyquist rate and the doubled rate stays below 50 kHz.
TEST_F(SampleRate, FollowsFrequencyFilterAndLimits) {
  const struct {
    const char* what;
    Msg::RNG_TEST_TYPE test;
    float freq;
    int interrupts;
    int samples;
  } cases[] = {
      {"30720 a second do", Msg::TEST_HVVFPF, 60, 60, 512},
      {"2560 a second doubled up to 40960", Msg::TEST_HVVFPF, 40, 10, 1024},
      {"R3 filter, 10 kHz Nyquist: the least rate decides", Msg::TEST_HVVFPF, 100, 60, 256},
      {"wide filter, 31.6 kHz Nyquist: 25600 is too slow, 51200 too fast", Msg::TEST_HVVFPF, 200,
       60, 128},
      {"line sync: 256 aimed at, 15360 is below the least rate", Msg::TEST_HVTTR, 60, 60, 512},
      {"never fewer than 16", Msg::TEST_HVVFPF, 7000, 60, 16},
      {"VLF rounds up", Msg::TEST_HVVFPF, 0.3F, 10, 131072},
      {"the exception rounds down", Msg::TEST_HVVFPF, 0.0001F, 10, 0x2000000},
  };
  for (const auto& c : cases) {
    data.testype = c.test;
    EXPECT_EQ(At(c.freq, c.interrupts), c.samples) << c.what;
  }
}

TEST_F(SampleRate, ASmallChangeOfAModulationKeepsTheRate) {
  data.testype = Msg::TEST_LINE_FREQ_MODULATION;
  data.firstUpdate = true;
  data.previousfrequency = 60;
  data.samplespercyc = 300;
  EXPECT_EQ(At(62, 60), 256);
  EXPECT_EQ(At(75, 60), 256);  // the last one inside the window
  EXPECT_EQ(At(76, 60), 256);  // 404 rounded down, and no raise
  EXPECT_EQ(At(44, 60), 512);  // 698 rounded down
}

TEST_F(SampleRate, AnyFrequencyHasAResult) {
  for (const float freq : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(CalculateSamplesPerCyc(freq, 60), -1);
  }
  EXPECT_EQ(At(std::numeric_limits<float>::infinity(), 60), 16);
  EXPECT_EQ(At(1e-38F, 60), 0x40000000);
}

}  // namespace

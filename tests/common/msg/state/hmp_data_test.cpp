// The shared test state: kinds of test, what requests leave behind, flags.
#include "common/msg/state/hmp_data.h"

#include <gtest/gtest.h>

#include <libconfig.h++>
#include <thread>

namespace {

using Msg::HMPData;

class HmpData : public testing::Test {
 protected:
  libconfig::Config config;
  HMPData data{config, Msg::MEAS_MODULE};
};

TEST_F(HmpData, KindsFollowTheFrequency) {
  data.vlfthreshold = 1;
  const struct {
    float hertz;
    bool vlf, line_sync, special;
  } cases[] = {
      {0.999F, true, false, true},   {1.0F, false, false, true},  {40.0F, false, false, true},
      {46.99F, false, false, false}, {47.0F, false, true, false}, {63.0F, false, true, false},
      {63.01F, false, false, false}, {70.0F, false, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.hertz);
    data.SetFrequency(c.hertz);
    data.testype = Msg::TEST_HVVFPF;
    EXPECT_EQ(data.IsVLFTest(), c.vlf);
    EXPECT_EQ(data.IsSpecialHaldenRamp(), c.special);
    data.testype = Msg::TEST_LEAKAGE_REACTANCE;
    EXPECT_EQ(data.IsLineSyncTestNG(), c.line_sync);
  }
}

TEST_F(HmpData, RampsFollowTheFrequencyOfTheSource) {
  data.vlfthreshold = 1;
  data.frequency = 400.0F;
  data.previousfrequency = 15.0F;
  const struct {
    int message;
    bool first_update, timer_up, above, timer_down;
  } cases[] = {
      {4, false, true, false, true},   // nothing runs yet
      {4, true, false, false, false},  // still at 15 Hz
      {7, true, false, true, false},   // stops from 400 Hz
      {0x27, false, false, true, false}, {5, false, false, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    data.SetCurrentMsg(static_cast<short>(c.message));
    data.firstUpdate = c.first_update;
    EXPECT_EQ(data.HVTimerRampUp(), c.timer_up);
    EXPECT_EQ(data.IsFrequencyAboveMinimumRamp(), c.above);
    EXPECT_EQ(data.IsTimerRampDown(1), c.timer_down);
  }
  data.frequency = 20.0F;
  EXPECT_TRUE(data.HVTimerRampUp());
  data.sourcemode = 2;
  EXPECT_FALSE(data.HVTimerRampUp());
}

TEST_F(HmpData, SourceWordNamesTheModes) {
  const struct {
    int source, swap, mode, info, source_mode, channel1, channel2;
  } cases[] = {
      {0x0120, 0, 0, 0x012, 2, 1, 0},     {0x0120, 1, 0, 0x012, 2, 0, 1},
      {0x1203, 0, 3, 0x120, 1, 2, 1},     {0x1203, 1, 3, 0x120, 1, 1, 2},
      {0x1203, 2, 3, 0x120, 1, 2, 1},  // only 1 swaps
      {0xFFFF, 0, 15, 0xFFF, 15, 15, 15},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.source);
    data.swapchannels = c.swap;
    Msg::HmpIniTestParamReqI request{};
    request.currentsrc = static_cast<short>(c.source);
    data.SetTestParams(request);
    EXPECT_EQ(data.sourcemode, c.mode);
    EXPECT_EQ(data.modeinfo, c.info);
    EXPECT_EQ(int{data.srcCh3_mode}, c.source_mode);
    EXPECT_EQ(int{data.measCh1_mode}, c.channel1);
    EXPECT_EQ(int{data.measCh2_mode}, c.channel2);
  }
}

TEST_F(HmpData, ADemagnetisationIsDrivenBeyondItsVoltage) {
  Msg::HmpIniTestParamReq request{};
  data.resonatortuningtest = true;
  for (const auto& [volts, stored] : {std::pair{90, 100}, {0, 0}, {10, 11}, {32767, 32767}}) {
    request.testype = 16;
    request.voltmax = static_cast<short>(volts);
    data.SetTestParams(request);
    EXPECT_EQ(data.voltmax, stored);
    EXPECT_EQ(data.maxval, stored);
    EXPECT_EQ(data.volttarget, stored);
  }
  EXPECT_FALSE(data.resonatortuningtest);
}

TEST_F(HmpData, SetUpOfACurrentTest) {
  Msg::HmpIniTestParamReqI request{};
  request.ampmax = 25;
  request.ilimit = 65535;
  request.vlimit = 65535;
  data.SetTestParams(request);
  EXPECT_EQ(data.ampmax, 25);
  EXPECT_EQ(data.maxval, 25);
  EXPECT_EQ(data.ilimit, 65535);
  EXPECT_EQ(data.vlimit, 6553);
}

TEST_F(HmpData, UpdateOfAVoltageTestKeepsThePreviousValues) {
  Msg::HmpUpdTestParamReq request{};
  request.polarity = 1;
  request.volttarget = 120;
  request.voltscal = 3;
  request.curange = 5;
  request.frequency = 60.0F;
  data.SetTestParams(request);
  request.volttarget = 200;
  request.polarity = 0;
  request.voltscal = 4;
  request.curange = 6;
  request.frequency = 50.0F;
  data.SetTestParams(request);
  EXPECT_EQ(data.previousvolttarget, 120);
  EXPECT_EQ(data.previoustestpolarity, 1);
  EXPECT_EQ(data.previousvoltscal, 3);
  EXPECT_EQ(data.previouscurange, 5);
  EXPECT_FLOAT_EQ(data.previousfrequency, 60.0F);
  EXPECT_EQ(data.volttarget, 200);
  EXPECT_FLOAT_EQ(data.GetFrequency(), 50.0F);
  data.testype = 16;
  data.SetTestParams(request);
  EXPECT_FLOAT_EQ(data.GetFrequency(), 25.0F);
}

TEST_F(HmpData, RangeZeroStaysAtOneHundredHertz) {
  const struct {
    float hertz;
    int before_current, before_voltage, current, voltage;
  } cases[] = {
      {100.0F, 0, 0, 0, 0},       {100.0F, 0, 2, 0, 8}, {100.0F, 2, 0, 9, 0},
      {100.0F, 1, 1, 9, 8},       {99.0F, 0, 0, 9, 8},  {101.0F, 0, 0, 9, 8},
      {99.9999847F, 0, 0, 9, 8},  // the next float but one
      {100.0000153F, 0, 0, 9, 8},
  };
  for (const auto& c : cases) {
    Msg::HmpUpdTestParamReq request{};
    request.frequency = c.hertz;
    request.curange = 9;
    request.voltscal = 8;
    data.curange = static_cast<short>(c.before_current);
    data.voltscal = static_cast<short>(c.before_voltage);
    data.SetTestParams(request);
    EXPECT_EQ(data.curange, c.current) << c.hertz;
    EXPECT_EQ(data.voltscal, c.voltage) << c.hertz;
  }
}

TEST_F(HmpData, AnExactFrequencyIsKept) {
  data.SetFrequency(m3x64_num{59, 999, 1000});
  EXPECT_FLOAT_EQ(data.GetFrequency(), 59.999F);
  EXPECT_EQ(data.GetLineFrequency(), (m3x64_num{59, 999, 1000}));
  data.SetFrequency(m3x64_num{50, 1, 0});
  EXPECT_FLOAT_EQ(data.GetFrequency(), 50.0F);
}

TEST_F(HmpData, UnknownChannelsAreIgnored) {
  for (const int channel : {-1, 2, 1000}) {
    data.SetRangingInfo(channel, 5.0F);
    data.SetFilter(channel, 5);
    data.SetPolarity(channel, 5);
    data.SetCPLDRevInfo(channel, 5, 5);
    EXPECT_EQ(data.SetEarlyDCOffset(channel), -1);
    EXPECT_EQ(data.ClearEarlyDCOffset(channel), -1);
    EXPECT_EQ(data.GetRangingInfo(channel), 0.0F);
    EXPECT_EQ(data.GetMaxSampleRepetitions(channel), 0);
    EXPECT_FALSE(data.GetEarlyDCOffset(channel));
  }
}

TEST_F(HmpData, ThreadsChangeTheirOwnBitsOfTheConsumerFlag) {
  {
    std::vector<std::jthread> threads;
    for (const unsigned changer : {1u, 2u, 4u, 8u}) {
      threads.emplace_back([this, changer] {
        for (int i = 0; i < 1000; ++i) data.ChangeConsumerFlag(i % 2 == 0, changer);
        data.ChangeConsumerFlag(changer != 2, changer);
      });
    }
  }
  EXPECT_EQ(data.resetConsumer, 13u);
}

}  // namespace

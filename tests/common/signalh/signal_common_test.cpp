// A channel's configuration and status through the real front end models.
#include "common/signalh/signal_common.h"

#include <gtest/gtest.h>

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/chips/front_end_chips.h"
#include "common/signalh/signal_shared.h"
#include "tests/common/dev/i2c/board_machine.h"

namespace {

using Dev::MeasChannel;

class FrontEndTest : public BoardMachine, public testing::Test {
 protected:
  FrontEndTest() {
    StartBoard();
    Msg::HMPData& data = *Msg::ghmp;
    signalh::Share({data, data, data, data, data});
    Dev::FpgaDev::Share({data, data, data, data, data});
  }
  std::string Cpld(int channel, const std::string& value) {
    return Control("get i2c.MEAS_CH" + std::to_string(channel + 1) + ".SC18IS602B." + value);
  }
  void Set(const std::string& value, const std::string& to) {
    ASSERT_EQ(Control("set i2c.MEAS_CH1.SC18IS602B." + value + " " + to), "ok");
  }
  double Seconds() const {
    return std::chrono::duration<double>(clock.Monotonic() - platform::FakeClock::kStart).count();
  }

  SignalCommon common{Msg::MEAS_MODULE, i2c};
};

TEST_F(FrontEndTest, ConfigurationReachesTheChannelAndItsEcho) {
  for (int channel : {0, 1}) {
    EXPECT_EQ(common.IniMeasChI2cSpiBridge(channel), 2);
    Dev::MeasChCpldIdRev version;
    EXPECT_EQ(common.GetMeasChVersion(channel, version), 4);
    EXPECT_EQ(version.cpldId, static_cast<int>(config.cpld.at(0).id));
    EXPECT_EQ(version.revision, config.cpld.at(0).revision);
  }
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg05_filter, false), 0);
  EXPECT_EQ(common.SetMeasChCfgReg(1, Dev::cfg04_filter, false), 0);
  EXPECT_EQ(Cpld(0, "config"), "ok 0x81E260");
  EXPECT_EQ(Cpld(1, "config"), "ok 0x81E220");
  clock.Advance(std::chrono::seconds(1));
  Dev::MeasChStaReg status{};
  EXPECT_EQ(common.GetMeasChStaReg(0, status), 24);
  EXPECT_EQ(status.Status(), 0);
  EXPECT_EQ(status.CfgReg.Bytes(), Dev::cfg05_filter.Bytes());
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(FrontEndTest, ABusyChannelFailsAfterAWait) {
  Set("busy_ms", "700");
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), 0);
  const double start = Seconds();
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg02, false), 0);  // written again once it is free
  EXPECT_EQ(Cpld(0, "config"), "ok 0x81E120");
  EXPECT_NEAR(Seconds() - start, 0.8, 0.05);  // five polls

  clock.Advance(std::chrono::seconds(10));
  Set("busy_ms", "60000");
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), 0);
  const double failing = Seconds();
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg03, false), -1);
  EXPECT_NEAR(Seconds() - failing, 2.0, 0.1);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | 744, 0}));
  EXPECT_EQ(Cpld(0, "config"), "ok 0x81E140");
  EXPECT_EQ(common.SetMeasChCfgReg(1, Dev::cfg03, false), 0);  // the other channel is not touched

  clock.Advance(std::chrono::seconds(60));
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg03, false), 0);
}

TEST_F(FrontEndTest, ReportedFaultsFailTheConfiguration) {
  Set("faults", "0x24");  // power supply and temperature
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), -1);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 738, 741}));
  Set("faults", "0");
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), 0);
}

TEST_F(FrontEndTest, ABusFailureReturnsItsStatusWithoutAnErrorWord) {
  ASSERT_EQ(Control("fault i2c.MEAS_CH1.SC18IS602B off"), "ok");
  Dev::MeasChStaReg status{};
  Dev::MeasChCpldIdRev version;
  EXPECT_EQ(common.GetMeasChStaReg(0, status), -2);
  EXPECT_EQ(common.GetMeasChVersion(0, version), -1);
  EXPECT_EQ(version.cpldId, 0);
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), -1);
  EXPECT_EQ(Errors(), std::vector<int>{});
  ASSERT_EQ(Control("fault i2c.MEAS_CH1.SC18IS602B ok"), "ok");
  ASSERT_EQ(Control("set i2c.MEAS_CH1.SC18IS602B.fail_after 5"), "ok");  // short reads
  EXPECT_EQ(common.GetMeasChStaReg(0, status), -2);
  ASSERT_EQ(Control("set i2c.MEAS_CH1.SC18IS602B.fail_after off"), "ok");
  EXPECT_EQ(common.SetMeasChCfgReg(0, Dev::cfg01, false), 0);
}

TEST_F(FrontEndTest, OffsetsAreWrittenOnlyWhenTheyChange) {
  MeasChannel& channel = common.Channel(1);
  auto transfers = [&] { return Control("get i2c.MEAS_CH2.DAC8571.transfers"); };
  auto dac = [&](int n) { return Control("get i2c.MEAS_CH2.DAC8571.dac" + std::to_string(n)); };
  EXPECT_EQ(channel.set_dc_offset_reg(Dev::kDacCentre, Dev::DC_OFFSET_DAC_CHAN_0), 3);
  EXPECT_EQ(dac(0), "ok 32768");  // the first write goes out: nobody knows what it holds
  const std::string before = transfers();
  EXPECT_EQ(channel.set_dc_offset_reg(Dev::kDacCentre, Dev::DC_OFFSET_DAC_CHAN_0), 3);
  EXPECT_EQ(transfers(), before);
  EXPECT_EQ(channel.center_dc_offset_reg_bdcst(), 3);
  for (int n = 0; n < 4; ++n) EXPECT_EQ(dac(n), "ok 32768");

  ASSERT_EQ(Control("fault i2c.MEAS_CH2.DAC8571 off"), "ok");
  EXPECT_EQ(channel.set_dc_offset_reg(7, Dev::DC_OFFSET_DAC_CHAN_2), -1);
  ASSERT_EQ(Control("fault i2c.MEAS_CH2.DAC8571 ok"), "ok");
  EXPECT_EQ(channel.set_dc_offset_reg(7, Dev::DC_OFFSET_DAC_CHAN_2), 3);  // not taken for written
  EXPECT_EQ(dac(2), "ok 7");
  EXPECT_EQ(channel.get_dc_offset_reg_HW(Dev::DC_OFFSET_DAC_CHAN_2), 7);
}

TEST_F(FrontEndTest, TheChannelsOwnOperationsLeaveTheMultiplexerOff) {
  MeasChannel& channel = common.Channel(0);
  const auto mux = [&] { return Control("get i2c.SIGNAL_HOST.PCA9544A.last"); };
  std::uint8_t status = 0xFF;
  EXPECT_EQ(channel.set_range_register(0x4A, status), 1);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Cpld(0, "range"), "ok 0x4A");
  EXPECT_EQ(channel.GetCpldOperationStartTime(), clock.Monotonic());
  EXPECT_EQ(mux(), "ok no channel on");
  EXPECT_EQ(channel.set_range_register(0x2E, status), 1);
  EXPECT_EQ(status & Dev::kMeasChBusy, Dev::kMeasChBusy);  // too early: not taken
  EXPECT_EQ(Cpld(0, "range"), "ok 0x4A");
  clock.Advance(std::chrono::seconds(1));
  Dev::MeasChStaReg report{};
  EXPECT_EQ(channel.GetMeasChStaReg(report), 24);
  EXPECT_EQ(report.RangeEcho(static_cast<int>(config.cpld.at(0).id)), 0x4A);
  EXPECT_EQ(mux(), "ok no channel on");
}

// Bit n of the converters' control register: channel n is inverted.
TEST_F(FrontEndTest, InversionFollowsTheModes) {
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  ASSERT_NE(fpga, nullptr);
  SignalCommon source(Msg::SOURCE_MODULE, i2c);
  const struct {
    const char* what;
    SignalCommon& on;
    int revision;
    Msg::Input_Mode modes[2];
    int swapped;
    int inverted[2], polarity[2];
  } cases[] = {
      {"voltage, current", common, 3, {Msg::AC_Volt, Msg::ACDC_Current}, 0, {1, 1}, {1, 1}},
      {"two voltages", common, 3, {Msg::AC_Volt, Msg::AC_Volt}, 0, {1, 1}, {1, 1}},
      {"DC voltage stays", common, 3, {Msg::DC_Volt, Msg::ACDC_Current}, 0, {0, 1}, {-1, 1}},
      {"swapped", common, 3, {Msg::ACDC_Current, Msg::DC_Volt}, 1, {1, 0}, {1, -1}},
      {"old board", common, 2, {Msg::DC_Volt, Msg::ACDC_Current}, 0, {0, 0}, {-1, -1}},
      {"source", source, 3, {Msg::AC_Volt, Msg::ACDC_Current}, 0, {1, 0}, {1, -1}},
  };
  for (const auto& c : cases) {
    fpga->CorrectCurrentChannel();
    for (int channel : {0, 1}) fpga->SetPolarity(channel, -1);
    Msg::ghmp->measCh1_mode = c.modes[0];
    Msg::ghmp->measCh2_mode = c.modes[1];
    Msg::ghmp->swapchannels = c.swapped;
    c.on.SetRevision(c.revision);
    c.on.DoInversionMagic();
    for (int channel : {0, 1}) {
      EXPECT_EQ(fpga->IsChannelInverted(channel), c.inverted[channel]) << c.what << channel;
      EXPECT_EQ(fpga->GetPolarity(channel), c.polarity[channel]) << c.what << channel;
    }
  }
}

}  // namespace

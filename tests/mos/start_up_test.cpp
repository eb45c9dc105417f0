// MeasMgr::Init on the virtual instrument: what a whole board gives, and what a broken one costs.
#include <gtest/gtest.h>

#include "tests/mos/daemon_bench.h"

namespace {

class StartUp : public DaemonBench, public testing::Test {
 protected:
  explicit StartUp(const simulator::Config& its_config = {}) : DaemonBench(its_config) {}
};

TEST_F(StartUp, AWholeBoardReportsNoError) {
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), std::vector<int>{});
  EXPECT_FALSE(Msg::ghmp->IsStickyError());
  EXPECT_EQ(Msg::ghmp->GetFrequency(), 60.0F);
  EXPECT_EQ(Msg::ghmp->samplespercyc, 512);
  // CLK0 is 60 Hz times 4096 waveform samples times 16 updates times 4; the converters' clock,
  // 60 Hz times 512 samples times 64 clocks, is an eighth of it
  EXPECT_EQ(Control("get i2c.SIGNAL_HOST.SI5338.clk0"), "ok 15728640 Hz");
  EXPECT_EQ(Register("Q5FPGA_CLK_SEL"), "ok 0x0930");
  EXPECT_EQ(Register("REG_WAVEFORM_CYC_LEN"), "ok 0x0FFF");
  EXPECT_EQ(Register("Q5FPGA_A2D_CTRL"), "ok 0xB180");
  EXPECT_EQ(Control("get i2c.MEAS_CH1.SC18IS602B.config"), "ok 0x81E240");
}

TEST_F(StartUp, AMissingClockChipIsAnErrorOfTheClock) {
  ASSERT_EQ(Control("fault i2c.SIGNAL_HOST.SI5338 off"), "ok");
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 329}));
}

TEST_F(StartUp, WithoutAnFpgaThereIsNoSamplingClock) {
  ASSERT_EQ(Control("fault fpga off"), "ok");
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 330}));
}

TEST_F(StartUp, AClockThatNeverLocksFails) {
  ASSERT_EQ(Control("set i2c.SIGNAL_HOST.SI5338.lock_failures 1000"), "ok");
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 329}));
  EXPECT_EQ(Control("get i2c.SIGNAL_HOST.SI5338.clk0"), "ok unlocked");
}

TEST_F(StartUp, ADamagedCalibrationIsAStickyError) {
  ASSERT_EQ(Control("memory i2c.MEAS_CH2.EE24LC32 flip 1000 2"), "ok");
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 385}));
  EXPECT_TRUE(Msg::ghmp->IsStickyError());
}

class StartUpRevision3 : public StartUp {
 protected:
  static simulator::Config Revision3() {
    simulator::Config config;
    config.board_revision = 3;
    return config;
  }
  StartUpRevision3() : StartUp(Revision3()) {}
};

TEST_F(StartUpRevision3, InvertsTheFirstChannel) {
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), std::vector<int>{});
  EXPECT_EQ(Register("Q5FPGA_A2D_CTRL"), "ok 0xB181");
}

class StartUpRevision2 : public StartUp {
 protected:
  static simulator::Config Revision2() {
    simulator::Config config;
    config.board_revision = 2;
    config.cpld = {{{simulator::CpldId::k0985, 1}, {simulator::CpldId::k0985, 1}}};
    return config;
  }
  StartUpRevision2() : StartUp(Revision2()) {}
};

TEST_F(StartUpRevision2, FindsItsOlderMultiplexersAndBoards) {
  ASSERT_EQ(Init(), 0);
  EXPECT_EQ(Errors(), std::vector<int>{});
  EXPECT_EQ(Msg::ghmp->GetCPLDID(1), 0x0985);
  EXPECT_NE(Dev::I2cDev::GetDevice("1.12.2.2"), nullptr);
  EXPECT_EQ(Control("get i2c.MEAS_CH2.SC18IS602B.config"), "ok 0x81E220");
}

}  // namespace

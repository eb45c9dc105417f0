// What the FPGA's registers set in motion: clocks, ramps, safety line and mains.
#include <gmock/gmock.h>

#include "tests/simulator/sample_fixture.h"

namespace simulator {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

enum Offset : std::int32_t {
  kClkSel = 6,
  kWformCtrl = 20,
  kMisc = 22,
  kTarget = 30,
  kStepUp = 32,
  kRampRate = 34,
  kMultiplier = 36,
  kManual = 38,
  kTimer = 40,
  kRamp = 48,
  kStepDown = 50,
  kHardLimit = 64,
  kLineSync = 74,
};
constexpr unsigned kWaveAndRamp = 0x1010;
constexpr unsigned kEnable = 8;
constexpr unsigned kUp = 4;
constexpr unsigned kStatus = 0xE000;
constexpr unsigned kAtZero = 0x2000;
constexpr unsigned kAtTarget = 0x4000;
constexpr unsigned kBusy = 0x8000;

class FpgaTest : public SampleTest {
 protected:
  unsigned ReadFpga(std::int32_t offset) {
    Dev::FpgaCmd command{Dev::FPGA_REG, offset, 0, 0, 0};
    EXPECT_EQ(backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_RD, &command), 0);
    return command.val;
  }
  void WriteFpga(std::int32_t offset, unsigned value) {
    Dev::FpgaCmd command{Dev::FPGA_REG, offset, value, 0, 0};
    EXPECT_EQ(backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_WR, &command), 0);
  }
  unsigned Status() { return ReadFpga(kRamp) & kStatus; }
  void AdvanceCycles(double cycles) {
    clock_.Advance(platform::Nanoseconds(std::llround(cycles / 60 * 1e9)));
  }
};

TEST_F(FpgaTest, ClocksComeFromTheChipThroughTheDividers) {
  Start60Hz();
  EXPECT_EQ(Control("get clock.source"), "ok 15728640 Hz");
  EXPECT_EQ(Control("get clock.converter"), "ok 1966080 Hz");  // 60 x 64 x 512
  EXPECT_EQ(Control("get clock.waveform"), "ok 3932160 Hz");   // 60 x 4096 x 16
  EXPECT_EQ(ReadFpga(52) | ReadFpga(54) << 16, 1966080U);
  EXPECT_EQ(Control("get fpga.waveform.frequency"), "ok 0.000000 Hz");
  WriteFpga(kWformCtrl, 0x10);
  WriteFpga(14, 0x1042);
  const FpgaSignals signals = instrument_->Signals();
  EXPECT_DOUBLE_EQ(signals.waveform_hertz, 60);
  EXPECT_EQ(signals.clocks.converter, Fraction(1966080));
  EXPECT_EQ(signals.inverted, (std::array{false, true}));

  WriteFpga(kClkSel, 0x0800 | 0x0100 | 0x20 | 0x10);  // the other module's converter clock
  ASSERT_EQ(Control("set clock.remote 1900000"), "ok");
  EXPECT_EQ(Control("get clock.converter"), "ok 1900000 Hz");
  ASSERT_EQ(Control("set clock.remote same"), "ok");
  EXPECT_EQ(Control("get clock.converter"), "ok 1966080 Hz");
  ASSERT_EQ(SetChip("pll lost"), "ok");
  EXPECT_EQ(Control("get clock.waveform"), "ok off");
  EXPECT_EQ(ReadFpga(52) | ReadFpga(54), 0U);
}

TEST_F(FpgaTest, PulsesStepTheClock) {
  Start60Hz();
  const Bytes start{123, 0x40, 0x42, 0x0F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x05};  // 10^6, 5
  const Bytes total{137, 0x80, 0xE3, 0x6A, 0x09, 0, 0, 0, 0};                    // 158 x 10^6
  ASSERT_EQ(Write(1, kAddress, start), 15);
  ASSERT_EQ(Write(1, kAddress, total), 9);
  const unsigned held = ReadFpga(kMisc);
  for (int i = 0; i < 2; ++i) {
    WriteFpga(kMisc, held | 1U << 6);
    WriteFpga(kMisc, held);
  }
  EXPECT_THAT(Control("get clock.source"), HasSubstr(" = 15728797.2864 Hz"));  // 10 ppm up
  for (int i = 0; i < 3; ++i) {
    WriteFpga(kMisc, held | 1U << 7);
    WriteFpga(kMisc, held);
  }
  EXPECT_THAT(Control("get clock.source"), HasSubstr(" = 15728561.3568 Hz"));
  SetRegister(52, 0x00);  // the pins do nothing
  WriteFpga(kMisc, held | 1U << 6);
  EXPECT_THAT(Control("get clock.source"), HasSubstr(" = 15728561.3568 Hz"));
}

TEST_F(FpgaTest, RampsFollowTheirClosedForm) {
  Start60Hz();
  EXPECT_EQ(Status(), kAtZero);
  // cycle mode: one step every 3 cycles of the waveform
  WriteFpga(kTarget, 1000);
  WriteFpga(kStepUp, 7);
  WriteFpga(kRampRate, 2);
  WriteFpga(kRamp, kUp);
  WriteFpga(kWformCtrl, kWaveAndRamp);
  AdvanceCycles(10);
  EXPECT_EQ(ReadFpga(kMultiplier), 0U);  // not enabled yet
  WriteFpga(kRamp, kUp | kEnable);
  EXPECT_EQ(Status(), kAtZero | kBusy);
  double at = 0;
  for (const double cycles : {2.9, 3.0, 30.5, 100.0, 425.0}) {
    AdvanceCycles(cycles - at);
    at = cycles;
    EXPECT_EQ(ReadFpga(kMultiplier), static_cast<unsigned>(7 * std::floor(cycles / 3 + 1e-6)))
        << cycles;
    EXPECT_EQ(Status(), cycles < 3 ? kAtZero | kBusy : kBusy);
  }
  AdvanceCycles(1e6);
  EXPECT_EQ(ReadFpga(kMultiplier), 1000U);
  EXPECT_EQ(Status(), kAtTarget);
  // a lower target is reached with the same step; the hard limit holds at once
  WriteFpga(kTarget, 900);
  EXPECT_EQ(Status(), kBusy);
  AdvanceCycles(3 * 10);
  EXPECT_EQ(ReadFpga(kMultiplier), 930U);
  WriteFpga(kHardLimit, 910);
  EXPECT_EQ(ReadFpga(kMultiplier), 910U);
  WriteFpga(kTarget, 2000);
  AdvanceCycles(3000);
  EXPECT_EQ(ReadFpga(kMultiplier), 910U);
  EXPECT_EQ(Status(), kBusy);

  // timer mode, down: 30 every 4 x 5 ms
  WriteFpga(kRamp, 1);
  EXPECT_EQ(Status(), 0U);
  WriteFpga(kTimer, 4);
  WriteFpga(kStepDown, 30);
  WriteFpga(kRamp, kEnable | 1);
  clock_.Advance(219ms);
  EXPECT_EQ(ReadFpga(kMultiplier), 910U - 10 * 30);
  EXPECT_EQ(Status(), kBusy);
  clock_.Advance(401ms);
  EXPECT_EQ(ReadFpga(kMultiplier), 0U);
  EXPECT_EQ(Status(), kAtZero);

  WriteFpga(kWformCtrl, 0);
  EXPECT_EQ(ReadFpga(kMultiplier), 0U);
  EXPECT_EQ(Status(), kAtZero);
}

TEST_F(FpgaTest, EachModulePullsTheSafetyLine) {
  StartFpga();
  constexpr unsigned kInput = 1U << 14;
  EXPECT_EQ(ReadFpga(kMisc) & kInput, 0U);  // this module has not raised its output
  WriteFpga(kMisc, 2);
  EXPECT_EQ(ReadFpga(kMisc) & kInput, kInput);
  for (const std::string other : {"allok.main", "allok.source"}) {
    ASSERT_EQ(Control("set " + other + " 0"), "ok");
    EXPECT_EQ(ReadFpga(kMisc) & (kInput | 2), 2U);
    EXPECT_EQ(Control("get allok.line"), "ok 0");
    ASSERT_EQ(Control("set " + other + " 1"), "ok");
    EXPECT_EQ(ReadFpga(kMisc) & kInput, kInput);
  }
}

TEST_F(FpgaTest, TheEstimatorCountsLineCycles) {
  StartFpga();
  const auto estimate = [&](unsigned cycles, platform::Nanoseconds wait) {
    WriteFpga(kLineSync, cycles);
    WriteFpga(kLineSync, cycles | 0x20);
    clock_.Advance(wait);
    return ReadFpga(76) << 16 | ReadFpga(78);
  };
  const auto complete = [&] { return (ReadFpga(kLineSync) & 0x8000U) != 0; };
  for (const auto& [hertz, cycles] : {std::pair{60.0, 12U}, {50.02, 31U}, {47.3, 1U}}) {
    ASSERT_EQ(Control("set line.frequency " + std::to_string(hertz)), "ok");
    EXPECT_NEAR(estimate(cycles, 1300ms), cycles * 12.5e6 / hertz, 1) << hertz;
    EXPECT_TRUE(complete());
  }
  // drifting by 2 Hz/s from 50 Hz: n cycles take t with 50 t + t^2 = n, from the first crossing on
  ASSERT_EQ(Control("set line.frequency 50"), "ok");
  ASSERT_EQ(Control("set line.drift 2"), "ok");
  const double count = estimate(20, 1s);
  EXPECT_GT(count, 12.5e6 * (std::sqrt(2500.0 + 4 * 21) - std::sqrt(2504.0)) / 2 - 2);
  EXPECT_LT(count, 12.5e6 * (std::sqrt(2500.0 + 4 * 20) - 50) / 2 + 2);
  ASSERT_EQ(Control("set line.drift 0"), "ok");

  ASSERT_EQ(Control("set line.frequency 20"), "ok");
  EXPECT_GT(estimate(31, 300ms), 0U);
  EXPECT_FALSE(complete());
  clock_.Advance(2s);  // 31 cycles would take 1.55 s: over the counter's end
  EXPECT_EQ(ReadFpga(76) | ReadFpga(78), 0U);
  EXPECT_FALSE(complete());
  ASSERT_EQ(Control("set line.frequency 0"), "ok");
  EXPECT_EQ(estimate(1, 2s), 0U);
  EXPECT_FALSE(complete());
}

}  // namespace
}  // namespace simulator

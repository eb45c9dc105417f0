// Ramps of the amplitude: what stands in the registers, what arms them, and the waits for their
// end.
#include <cmath>
#include <limits>

#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using fpga_test::Driver;
using fpga_test::FpgaTest;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int kHv = Msg::internalHVVoltageSourceE;
constexpr int kLv = Msg::internalLVVoltageSourceE;
constexpr int kDc = Msg::internalDCCurrentSourceE;
constexpr int kDcLv = Msg::internalDCLVVoltageSourceE;
constexpr short kStopMessage = 7;

/// Its ramp-down parameters can be seen and set.
struct Shown : Dev::FpgaDev {
  explicit Shown(int fd) : FpgaDevBase(fd), FpgaDev(fd) {}
  using FpgaDev::_rampdowntimer;
  using FpgaDev::_stepdowndivider;
};

class RampTest : public FpgaTest {
 protected:
  RampTest() {
    data.vlfthreshold = 1;
    data.fpgastepdivider = 5;
    data.lvscalefactor = 0.02F;
    data.lvmaxvoltage = 300;
    data.ampscalefactor = 0.01F;
    data.SetRampAllowed(true);
    fpga.Init();
    fpga.SetVLFVoltageMin(10);
    fpga.SetDCCurrentMin(0.05F);
    fpga.SetACVoltageMin(5);
    fpga.SetHVACVoltageMin(100);
    fpga.SetLinks({.fast_filter = [this](Dev::FastReading what, int channel) {
      asked = {what, channel};
      if (!fast_filter) return std::optional<double>{};
      return std::optional<double>{what == Dev::FastReading::kMaxVoltage ? peak : reading};
    }});
  }

  bool fast_filter = true;
  double reading = 0;
  double peak = 1e6;
  std::pair<Dev::FastReading, int> asked{};
};

TEST_F(RampTest, PhaseOneSetsUpTheRampOfEachTest) {
  const struct {
    const char* name;
    int type, source;
    float frequency;
    int curange, high, step;
    Dev::RampUpMode mode;
    std::map<int, unsigned> written;  // registers besides the two control words
  } cases[] = {
      {"high voltage, slow",
       Msg::TEST_EXCITING_CURRENT,
       kHv,
       20.0F,
       0,
       1010,
       7,
       Dev::FPGAAutoTimerRampE,
       {{40, 20}, {32, 50}, {30, 1010}}},
      {"high voltage, slow, against overshoot",
       Msg::TEST_HVVFPF,
       kHv,
       15.0F,
       0,
       1013,
       7,
       Dev::FPGAAutoTimerRampE,
       {{40, 20}, {32, 50}, {30, 405}}},
      {"small steps",
       Msg::TEST_EXCITING_CURRENT,
       kHv,
       15.0F,
       0,
       19,
       0,
       Dev::FPGAAutoTimerRampE,
       {{40, 20}, {32, 1}, {30, 19}}},
      {"low voltage, slow",
       Msg::TEST_CTKNEEPOINT,
       kLv,
       5.0F,
       0,
       900,
       7,
       Dev::FPGAManualRampE,
       {{38, 900}, {30, 900}, {34, 1}}},
      {"current range set",
       Msg::TEST_CTKNEEPOINT,
       kLv,
       5.0F,
       3,
       900,
       7,
       Dev::FPGAAutoCycleRampE,
       {{30, 900}, {32, 7}, {34, 0}}},
      // 20 A x 0.85 / 0.01 A a count
      {"DC",
       Msg::TEST_WINDING_RESISTANCE,
       kDc,
       60.0F,
       0,
       1,
       7,
       Dev::FPGAAutoTimerRampE,
       {{40, 1}, {32, 17}, {30, 1700}}},
      {"contact resistance",
       Msg::TEST_CONTACT_RESISTANCE,
       kDc,
       60.0F,
       0,
       1,
       7,
       Dev::FPGAAutoTimerRampE,
       {{40, 1}, {32, 3}, {30, 1700}}},
      {"AC",
       Msg::TEST_CTKNEEPOINT,
       kLv,
       60.0F,
       0,
       900,
       0,
       Dev::FPGAAutoCycleRampE,
       {{30, 900}, {32, 1}, {34, 0}}},
      {"against overshoot",
       Msg::TEST_HVVFPF,
       kHv,
       70.0F,
       0,
       1013,
       9,
       Dev::FPGAAutoCycleRampE,
       {{30, 303}, {32, 9}, {34, 0}}},
      {"between the bands of overshoot",
       Msg::TEST_HVVFPF,
       kHv,
       60.0F,
       0,
       1013,
       9,
       Dev::FPGAAutoCycleRampE,
       {{30, 1013}, {32, 9}, {34, 0}}},
      {"sweep at its last amplitude",
       Msg::TEST_FREQUENCY_SWEEP_DFR,
       kLv,
       60.0F,
       0,
       900,
       9,
       Dev::FPGAAutoCycleRampE,
       {{30, 777}, {32, 9}, {34, 0}}},
      {"more than a register holds",
       Msg::TEST_CTKNEEPOINT,
       kLv,
       60.0F,
       0,
       70000,
       70000,
       Dev::FPGAAutoCycleRampE,
       {{30, 65535}, {32, 65535}, {34, 0}}},
  };
  data.currentamplifiervalue = 777;
  data.ampmax = 20;
  data.SetCurrentMsg(kStopMessage);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SetTest(c.type, c.source, c.frequency);
    data.curange = static_cast<short>(c.curange);
    Dev::rampdata.highlimit = c.high;
    Dev::rampdata.stepvalue = c.step;
    driver.Reset({{20, 0xFDFF}, {48, 0x600F}});
    EXPECT_EQ(fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_ENABLE_SOURCE), 0);
    EXPECT_TRUE(fpga.IsRampUpInProgress());
    EXPECT_EQ(fpga.GetRampupMode(), c.mode);
    EXPECT_EQ(driver.registers[48], 0x6004u | c.mode);
    EXPECT_EQ(driver.registers[20], 0xFCEFu);
    std::map<int, unsigned> written;
    for (const auto& [offset, value] : driver.writes) {
      if (offset != 20 && offset != 48) written[offset] = value;
    }
    EXPECT_EQ(written, c.written);
    EXPECT_EQ(driver.writes.front(), (std::pair<int, unsigned>{48, 0x6007}));  // disarmed first

    EXPECT_EQ(fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_RAMP_UP), 0);
    EXPECT_FALSE(fpga.IsRampUpInProgress());
    EXPECT_EQ(driver.registers[48], 0x600Cu | c.mode);
    EXPECT_EQ(driver.registers[20], 0xFCFFu);
  }
  EXPECT_EQ(fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_DONE), -1);
}

TEST_F(RampTest, ALineSyncTestKeepsItsWaveform) {
  SetTest(Msg::TEST_LINE_SYNC_REVERSAL, kLv, 60.0F);
  for (const int polarity : {0, 1}) {
    data.testPolarity = static_cast<short>(polarity);
    driver.Reset({{20, 0x3110}});
    EXPECT_EQ(fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_ENABLE_SOURCE), 0);
    EXPECT_EQ(driver.registers[20], polarity != 0 ? 0x3110u : 0x3010u);
  }
}

TEST_F(RampTest, NothingIsArmedWithoutLeave) {
  SetTest(Msg::TEST_CTKNEEPOINT, kLv, 60.0F);
  data.SetRampAllowed(false);
  EXPECT_EQ(fpga.RampToTarget(500), -1);
  EXPECT_EQ(driver.registers[48] & 8, 0u);
  EXPECT_FALSE(fpga.IsRampUpInProgress());
  data.SetRampAllowed(true);
  EXPECT_EQ(fpga.RampToTarget(500), 0);
  EXPECT_EQ(driver.registers[48], 0xCu);
}

TEST_F(RampTest, TargetsFollowTheLimitAndThePreviousTarget) {
  SetTest(Msg::TEST_CTKNEEPOINT, kLv, 60.0F);
  const struct {
    int target, previous, divider;
    unsigned written, step;
  } cases[] = {{500, 0, 5, 500, 100},
               {500, 2000, 5, 500, 400},
               {4, 0, 5, 4, 1},
               {30000, 0, 5, 21214, 4242},
               {500, 0, 0, 500, 500}};
  for (const auto& c : cases) {
    for (const bool running : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.target << " " << running);
      fpga.ClearDischargeFlag();
      data.amptargetvalue = static_cast<unsigned short>(c.previous);
      data.fpgastepdivider = c.divider;
      driver.Reset();
      if (running) fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_ALL);
      const std::size_t before = driver.writes.size();
      EXPECT_EQ(fpga.RampToTarget(static_cast<unsigned short>(c.target)), 0);
      EXPECT_EQ(driver.registers[30], c.written);
      EXPECT_EQ(driver.registers[32], c.step);
      EXPECT_TRUE(!running || driver.writes.size() - before == 4);
    }
  }
}

TEST_F(RampTest, AFixedDurationSetsTheStep) {
  SetTest(Msg::TEST_CTKNEEPOINT, kLv, 60.0F);
  EXPECT_EQ(fpga.FixedDurationRampToTarget(500, 1), -1);
  ASSERT_EQ(fpga.RampToTarget(500), 0);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    int from, target, rate;
    float seconds;
    unsigned step;
  } cases[] = {{100, 1300, 0, 2.0F, 10}, {1300, 100, 1, 2.0F, 20}, {500, 510, 0, 10.0F, 1},
               {100, 600, 0, 0.0F, 500}, {100, 600, 0, nan, 500},  {0, 30000, 0, 0.5F, 707}};
  for (const auto& c : cases) {
    driver.registers[36] = static_cast<unsigned>(c.from);
    driver.registers[34] = static_cast<unsigned>(c.rate);
    EXPECT_EQ(fpga.FixedDurationRampToTarget(static_cast<unsigned short>(c.target), c.seconds), 0);
    EXPECT_EQ(driver.registers[32], c.step);
    EXPECT_EQ(driver.registers[48], 0xCu);
  }
}

TEST_F(RampTest, StepsOfARampDown) {
  const struct {
    const char* name;
    int type, source;
    float frequency, previous;
    bool stop_message, manual;
    int down_divider;
    unsigned step;
    std::optional<unsigned> timer;
  } cases[] = {
      {"timer", Msg::TEST_CTKNEEPOINT, kLv, 0.5F, 60, true, false, 40, 25, 10},
      {"no divider", Msg::TEST_CTKNEEPOINT, kLv, 0.5F, 60, true, false, 0, 1000, 10},
      {"demag", Msg::TEST_DEMAG, kDc, 60, 60, true, false, 3, 333, 10},
      {"many steps", Msg::TEST_DEMAG, kDc, 60, 60, true, false, 4000, 1, 10},
      {"high voltage, fast", Msg::TEST_EXCITING_CURRENT, kHv, 60, 5, true, false, 40, 80, {}},
      {"high voltage, slow", Msg::TEST_EXCITING_CURRENT, kHv, 10.3F, 60, true, false, 40, 20, {}},
      {"by the previous frequency",
       Msg::TEST_EXCITING_CURRENT,
       kHv,
       60,
       10,
       false,
       false,
       40,
       20,
       {}},
      {"by hand", Msg::TEST_EXCITING_CURRENT, kHv, 60, 60, true, true, 40, 2400, {}},
      {"DC", Msg::TEST_WINDING_RESISTANCE, kDc, 60, 60, true, false, 40, 2, 1},
      {"AC, fast", Msg::TEST_CTKNEEPOINT, kLv, 60, 60, true, false, 40, 200, {}},
      {"AC, slow", Msg::TEST_CTKNEEPOINT, kLv, 20, 60, true, false, 40, 1000, {}},
  };
  Shown device(Open());
  data.voltmax = 12000;
  data.firstUpdate = true;
  timespec now{};
  now.tv_sec = 1234;
  machine.clock.SetRealtime(now);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SetTest(c.type, c.source, c.frequency);
    data.previousfrequency = c.previous;
    data.SetCurrentMsg(c.stop_message ? kStopMessage : 5);
    data.SetManualRampTest(c.manual);
    device._stepdowndivider = c.down_divider;
    device._rampdowntimer = 10;
    Dev::rampdata.highlimit = 1000;
    driver.Reset({{20, 0x0012}, {34, 9}, {36, 400}, {48, 0x000E}});
    EXPECT_EQ(device.SetFPGAStopRamp(), 0);
    EXPECT_EQ(driver.registers[50], c.step);
    EXPECT_EQ(driver.registers[34], 0u);
    EXPECT_EQ(driver.registers[20], 0x1012u);
    EXPECT_EQ(driver.registers[48], c.timer ? 9u : 8u);
    EXPECT_EQ(driver.registers.contains(40), c.timer.has_value());
    EXPECT_EQ(driver.registers[40], c.timer.value_or(0));
    EXPECT_EQ(device.GetDischargeStatusFlag(), 256);
    EXPECT_NEAR(static_cast<double>(device.GetRampDownStartTime()), 1234, 1);
  }
  driver.Reset({{20, 0x0012}, {36, 0}, {48, 0x000E}});
  EXPECT_EQ(device.SetFPGAStopRamp(), 0);
  EXPECT_EQ(driver.writes, (Driver::Writes{{48, 6}}));
}

TEST_F(RampTest, RampDownParametersFollowTheFrequency) {
  Shown device(Open());
  const struct {
    int type;
    float frequency;
    int cycles, result, divider, timer;
  } cases[] = {
      {Msg::TEST_CTKNEEPOINT, 60, 1, 0, 20, 10}, {Msg::TEST_CTKNEEPOINT, 60, 9, 0, 40, 10},
      {Msg::TEST_CTKNEEPOINT, 60, 0, 0, 40, 10}, {Msg::TEST_DEMAG, 0.125F, 1, 0, 32, 1},
      {Msg::TEST_DEMAG, 0.001F, 1, 0, 400, 1},   {Msg::TEST_DEMAG, 5, 1, 0, 0, 1},
      {Msg::TEST_DEMAG, 0, 1, -1, 0, 1},         {Msg::TEST_DEMAG, -1, 1, -1, 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.frequency);
    data.testype = static_cast<short>(c.type);
    EXPECT_EQ(device.CalculateRampDownParams(c.frequency, c.cycles), c.result);
    EXPECT_EQ(device._stepdowndivider, c.divider);
    EXPECT_EQ(device._rampdowntimer, c.timer);
  }
}

TEST_F(RampTest, AWindingResistanceDischargesInOneStep) {
  SetTest(Msg::TEST_WINDING_RESISTANCE, kDcLv, 0);
  data.maximumtunelimit = 10;
  driver.Reset({{48, 0x0009}});
  EXPECT_EQ(fpga.WRDischargeRamp(10.0F), 0);  // 500 counts, 550 with 10% more
  EXPECT_EQ(driver.registers,
            (std::map<int, unsigned>{{30, 500}, {32, 100}, {38, 500}, {48, 0xE}, {64, 550}}));
  EXPECT_EQ(fpga.WRDischargeRamp(0), 0);
  EXPECT_EQ(driver.registers,
            (std::map<int, unsigned>{{30, 0}, {32, 100}, {38, 0}, {48, 0xA}, {64, 550}}));
}

TEST_F(RampTest, TheWaitForTheHardwareHasItsLimit) {
  const auto elapsed = [this](auto&& wait) {
    const auto start = machine.clock.Monotonic();
    wait();
    return machine.clock.Monotonic() - start;
  };
  SetTest(Msg::TEST_CTKNEEPOINT, kLv, 60.0F);
  driver.Reset({{48, 8}, {36, 5}});
  EXPECT_EQ(elapsed([&] { EXPECT_EQ(fpga.CheckFPGARampStatus(), -1); }), microseconds(3100000));
  EXPECT_EQ(fpga.FPGAEnablePrimary(), -1);
  EXPECT_EQ(Errors(), (std::vector<int>{3, 71}));
  EXPECT_TRUE(driver.writes.empty());
  EXPECT_FALSE(fpga.WaitForRampDownToZero(1, 0, 1));
  EXPECT_EQ(Errors(), (std::vector<int>{3, 71}));

  // what nobody needs any more has not failed
  int asks = 0;
  const auto once = [&asks] { return asks++ == 0; };
  EXPECT_EQ(fpga.AwaitRampDown(0, once).outcome, Dev::FpgaRampControl::RampDown::kAbandoned);

  // in a DC test there is none, but for registers that cannot be read
  data.sourcemode = kDc;
  int polls = 0;
  driver.on_read = [&](int offset) {
    if (offset == 48 && ++polls == 40001) driver.registers[48] = 0x2008;
  };
  EXPECT_EQ(elapsed([&] { EXPECT_EQ(fpga.CheckFPGARampStatus(), 0); }), milliseconds(4000));
  driver.on_read = nullptr;
  driver.all_fail = true;
  EXPECT_EQ(elapsed([&] { EXPECT_EQ(fpga.CheckFPGARampStatus(), -1); }), milliseconds(10));
  driver.all_fail = false;

  driver.Reset({{48, 0x4008}, {36, 0}, {20, 0x10}}, 0);
  EXPECT_EQ(fpga.FPGAEnablePrimary(), 0);
  EXPECT_EQ(driver.registers[20], 0x12u);
}

TEST_F(RampTest, TheSourceIsOnItsWayDown) {
  const struct {
    unsigned control, multiplier;
    int down, done;
  } cases[] = {{8, 5, 1, 0}, {8, 0, 0, 0}, {0xC, 5, 0, 0}, {0x2008, 5, 0, 0}, {0x400C, 5, 0, 1}};
  for (const auto& c : cases) {
    driver.Reset({{48, c.control}, {36, c.multiplier}});
    EXPECT_EQ(fpga.SourceRampToZero(), c.down) << c.control;
    EXPECT_EQ(fpga.IsRampDone(), c.done) << c.control;
  }
}

struct ProofCase {
  const char* name;
  int type, source;
  float frequency;
  Dev::FastReading what;
  int channel;  // with the voltage on channel 0
  double still, gone;
};

TEST_F(RampTest, RecoveryWaitsForTheProofOfItsTest) {
  using Dev::FastReading;
  const ProofCase cases[] = {
      {"VLF", Msg::TEST_CTKNEEPOINT, kLv, 0.5F, FastReading::kPhasor, 0, 10.0, 9.9},
      {"contact", Msg::TEST_CONTACT_RESISTANCE, kDc, 60, FastReading::kAverage, 1, 0.06, 0.04},
      {"winding", Msg::TEST_WINDING_RESISTANCE, kDc, 60, FastReading::kAverage, 1, 0.06, 0.04},
      {"demag", Msg::TEST_DEMAG, kDc, 0.5F, FastReading::kSampleAverage, 1, -0.06, -0.04},
      {"DC voltage", Msg::TEST_DCIR, kDcLv, 60, FastReading::kAverage, 0, 2.0, 1.9},
      {"high voltage", Msg::TEST_HVVFPF, kHv, 60, FastReading::kPhasor, 0, 100, 99},
      {"low voltage", Msg::TEST_LVTTR, kLv, 60, FastReading::kPhasor, 0, 5, 4.9},
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& c : cases) {
    for (const int swap : {0, 1}) {
      SCOPED_TRACE(testing::Message() << c.name << " " << swap);
      SetTest(c.type, c.source, c.frequency);
      const bool vlf = c.frequency < 1 && c.type != Msg::TEST_DEMAG;
      const int channel = swap != 0 ? 1 - c.channel : c.channel;
      const auto look = vlf ? milliseconds(11) : milliseconds(1);

      // an average that is negative is as much of a current
      const auto longest = data.IsDCTest() ? std::chrono::seconds(30) : 2001 * look;
      for (const double still : {c.still, -c.still, nan}) {
        driver.Reset({{20, 0x1010}, {36, 7}, {48, 0x2008}, {40, 3}});
        reading = still;
        const auto start = machine.clock.Monotonic();
        EXPECT_FALSE(fpga.WaitForRampDownToZero(1, swap, 1));
        EXPECT_EQ(machine.clock.Monotonic() - start, longest);
        const int left = std::isnan(still) ? 0 : static_cast<int>(std::fabs(still));
        EXPECT_EQ(Errors(), (std::vector<int>{3, 4 << 12 | 70, left, 7, 0x2008,
                                              static_cast<int>(c.frequency)}));
        EXPECT_EQ(driver.registers[20], 0x1010u);
      }
      // the output goes after a while
      driver.Reset({{20, 0x1010}, {48, 0x2008}});
      reading = c.still;
      const auto start = machine.clock.Monotonic();
      fpga.SetLinks({.fast_filter = [&, looks = 0](Dev::FastReading what, int of) mutable {
        if (what == Dev::FastReading::kMaxVoltage) return std::optional<double>{1e6};
        EXPECT_EQ(what, c.what);
        EXPECT_EQ(of, channel);
        return std::optional<double>{++looks > (data.IsDCTest() ? 5000 : 100) ? c.gone : c.still};
      }});
      EXPECT_TRUE(fpga.WaitForRampDownToZero(1, swap, 1));
      EXPECT_EQ(machine.clock.Monotonic() - start, (data.IsDCTest() ? 5000 : 100) * look);
      EXPECT_EQ(driver.registers[20], 0u);
      EXPECT_EQ(driver.registers.contains(30), c.type == Msg::TEST_WINDING_RESISTANCE);
      fpga.SetLinks({.fast_filter = [this](Dev::FastReading what, int) {
        return std::optional<double>{what == Dev::FastReading::kMaxVoltage ? peak : reading};
      }});
    }
  }
  // however little a block shows of a slow wave, and whatever an old reading says, only new
  // readings prove it; without a fast filter there are none to be had
  for (const float hertz : {0.5F, 60.0F}) {
    SetTest(Msg::TEST_CTKNEEPOINT, kLv, hertz);
    std::int64_t made = 5;
    Dev::FpgaLinks links{.fast_filter = [](FastReading, int) { return std::optional(0.0); },
                         .fast_results = [&](FastReading) { return made; }};
    fpga.SetLinks(links);
    EXPECT_FALSE(fpga.WaitForRampDownToZero(1, 0, 1)) << hertz;
    EXPECT_EQ(Errors().at(1), 4 << 12 | 70);
    links.fast_filter = [](FastReading what, int) {
      return std::optional(what == FastReading::kMaxVoltage ? 0.0 : 50.0);
    };
    links.fast_results = [&](FastReading) { return ++made; };
    fpga.SetLinks(links);
    EXPECT_FALSE(fpga.WaitForRampDownToZero(1, 0, 1)) << hertz;
    EXPECT_EQ(Errors().at(1), 4 << 12 | 70);
    links.fast_filter = [](FastReading, int) { return std::optional(1.0); };
    fpga.SetLinks(links);
    EXPECT_TRUE(fpga.WaitForRampDownToZero(1, 0, 1)) << hertz;
  }
  fpga.SetLinks({});
  EXPECT_TRUE(fpga.WaitForRampDownToZero(1, 0, 1));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(RampTest, AWatchedDischargeEndsWithTheProof) {
  using Dev::FastReading;
  const ProofCase cases[] = {
      {"VLF", Msg::TEST_CTKNEEPOINT, kLv, 0.5F, FastReading::kPhasor, 0, 10.0, 9.9},
      {"DC", Msg::TEST_WINDING_RESISTANCE, kDc, 60, FastReading::kAverage, 1, -0.06, 0.04},
      {"DC voltage", Msg::TEST_DCIR, kDcLv, 60, FastReading::kAverage, 1, 0.06, 0.04},
      {"demag", Msg::TEST_DEMAG, kLv, 0.5F, FastReading::kSampleAverage, 1, -0.06, -0.04},
      {"high voltage", Msg::TEST_HVVFPF, kHv, 60, FastReading::kPhasor, 0, 100, 99},
      {"low voltage", Msg::TEST_LVTTR, kLv, 60, FastReading::kPhasor, 0, 5, 4.9},
  };
  Msg::HMPData meas{config, Msg::MEAS_MODULE};
  for (Msg::HMPData* state : {&meas, &data}) {
    Share(*state);
    const bool is_meas = state == &meas;
    state->vlfthreshold = 1;
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << " " << is_meas);
      state->testype = static_cast<short>(c.type);
      state->sourcemode = static_cast<short>(c.source);
      state->frequency = c.frequency;
      driver.Reset({{48, 0x2008}});
      EXPECT_FALSE(fpga.PauseTest());
      EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 0);
      fpga.MonitorDischargeFlag();
      EXPECT_TRUE(fpga.PauseTest());
      EXPECT_EQ(fpga.GetDischargeStatusFlag(), is_meas ? 1024 : 512);
      reading = c.still;
      EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 1024);
      if (!is_meas) {
        EXPECT_EQ(fpga.GetDischargeStatus(0, 0), 0);
        driver.registers = {{48, 8}, {36, 5}};
        EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 512);  // still ramping
        state->wrdischargeflag = true;
        EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 1024);
        state->wrdischargeflag = false;
        driver.registers.clear();
      }
      reading = c.gone;
      fast_filter = false;
      EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 1024);
      fast_filter = true;
      state->driving_i_cpld_busy_flag = true;
      EXPECT_EQ(fpga.GetDischargeStatus(1, 0), state->IsDCTest() ? 1024 : 0);
      state->driving_i_cpld_busy_flag = false;
      EXPECT_EQ(fpga.GetDischargeStatus(1, 0), 0);
      EXPECT_EQ(asked, (std::pair{c.what, c.channel}));
      EXPECT_EQ(fpga.GetDischargeStatus(1, 1), 0);
      EXPECT_EQ(asked, (std::pair{c.what, 1 - c.channel}));
      fpga.ClearDischargeFlag();
    }
  }
}

}  // namespace

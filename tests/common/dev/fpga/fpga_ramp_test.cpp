// Ramps of the amplitude: what the registers hold, what arms them, and the waits for their end.
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

constexpr auto kCycle = Dev::FPGAAutoCycleRampE;
constexpr auto kTimer = Dev::FPGAAutoTimerRampE;
constexpr auto kManual = Dev::FPGAManualRampE;
constexpr int kExciting = Msg::TEST_EXCITING_CURRENT;
constexpr int kKnee = Msg::TEST_CTKNEEPOINT;
constexpr int kWinding = Msg::TEST_WINDING_RESISTANCE;

TEST_F(RampTest, PhaseOneSetsUpTheRampOfEachTest) {
  const struct {
    const char* name;
    int type, source;
    float frequency;
    int curange, high, step;
    Dev::RampUpMode mode;
    std::map<int, unsigned> written;  // registers besides the two control words
  } cases[] = {
      {"HV, slow", kExciting, kHv, 20, 0, 1010, 7, kTimer, {{40, 20}, {32, 50}, {30, 1010}}},
      {"overshoot", Msg::TEST_HVVFPF, kHv, 15, 0, 1013, 7, kTimer, {{40, 20}, {32, 50}, {30, 405}}},
      {"small steps", kExciting, kHv, 15, 0, 19, 0, kTimer, {{40, 20}, {32, 1}, {30, 19}}},
      {"LV, slow", kKnee, kLv, 5, 0, 900, 7, kManual, {{38, 900}, {30, 900}, {34, 1}}},
      {"range set", kKnee, kLv, 5, 3, 900, 7, kCycle, {{30, 900}, {32, 7}, {34, 0}}},
      // 20 A x 0.85 / 0.01 A a count
      {"DC", kWinding, kDc, 60, 0, 1, 7, kTimer, {{40, 1}, {32, 17}, {30, 1700}}},
      {"AC", kKnee, kLv, 60, 0, 900, 0, kCycle, {{30, 900}, {32, 1}, {34, 0}}},
      {"overshoot", Msg::TEST_HVVFPF, kHv, 70, 0, 1013, 9, kCycle, {{30, 303}, {32, 9}, {34, 0}}},
      {"too much", kKnee, kLv, 60, 0, 70000, 70000, kCycle, {{30, 65535}, {32, 65535}, {34, 0}}},
  };
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
    EXPECT_EQ(driver.registers[48], 0x6004u | c.mode);
    EXPECT_EQ(driver.registers[20], 0xFCEFu);
    std::map<int, unsigned> written;
    for (const auto& [offset, value] : driver.writes) {
      if (offset != 20 && offset != 48) written[offset] = value;
    }
    EXPECT_EQ(written, c.written);
    EXPECT_EQ(driver.writes.front(), (std::pair<int, unsigned>{48, 0x6007}));  // disarmed first
    EXPECT_EQ(fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_RAMP_UP), 0);
    EXPECT_EQ(driver.registers[48], 0x600Cu | c.mode);
    EXPECT_EQ(driver.registers[20], 0xFCFFu);
  }
}

TEST_F(RampTest, NothingIsArmedWithoutPermission) {
  SetTest(kKnee, kLv, 60.0F);
  data.SetRampAllowed(false);
  EXPECT_EQ(fpga.RampToTarget(500), -1);
  EXPECT_EQ(driver.registers[48] & 8, 0u);
  data.SetRampAllowed(true);
  EXPECT_EQ(fpga.RampToTarget(500), 0);
  EXPECT_EQ(driver.registers[48], 0xCu);
}

TEST_F(RampTest, StepsOfARampDown) {
  const struct {
    const char* name;
    int type, source;
    float frequency, previous;
    bool stop_message, manual;
    unsigned step;
    std::optional<unsigned> timer;
  } cases[] = {
      {"slow", kKnee, kLv, 0.5F, 60, true, false, 25, 10},
      {"demag", Msg::TEST_DEMAG, kDc, 0.125F, 60, true, false, 31, 1},
      {"high voltage, fast", kExciting, kHv, 60, 5, true, false, 80, {}},
      {"high voltage, slow", kExciting, kHv, 10.3F, 60, true, false, 20, {}},
      {"by the previous frequency", kExciting, kHv, 60, 10, false, false, 20, {}},
      {"by hand", kExciting, kHv, 60, 60, true, true, 2400, {}},
      {"DC", kWinding, kDc, 60, 60, true, false, 2, 1},
      {"AC, fast", kKnee, kLv, 60, 60, true, false, 200, {}},
      {"AC, slow", kKnee, kLv, 20, 60, true, false, 1000, {}},
  };
  data.voltmax = 12000;
  data.firstUpdate = true;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SetTest(c.type, c.source, c.frequency);
    data.previousfrequency = c.previous;
    data.SetCurrentMsg(c.stop_message ? kStopMessage : 5);
    data.SetManualRampTest(c.manual);
    EXPECT_EQ(fpga.CalculateRampDownParams(c.frequency, 2), 0);
    Dev::rampdata.highlimit = 1000;
    driver.Reset({{20, 0x0012}, {34, 9}, {36, 400}, {48, 0x000E}});
    EXPECT_EQ(fpga.SetFPGAStopRamp(), 0);
    EXPECT_EQ(driver.registers[50], c.step);
    EXPECT_EQ(driver.registers[34], 0u);
    EXPECT_EQ(driver.registers[20], 0x1012u);
    EXPECT_EQ(driver.registers[48], c.timer ? 9u : 8u);
    EXPECT_EQ(driver.registers[40], c.timer.value_or(0));
    EXPECT_EQ(fpga.GetDischargeStatusFlag(), 256);
  }
  EXPECT_EQ(fpga.CalculateRampDownParams(0, 1), -1);
  driver.Reset({{20, 0x0012}, {36, 0}, {48, 0x000E}});
  EXPECT_EQ(fpga.SetFPGAStopRamp(), 0);
  EXPECT_EQ(driver.writes, (Driver::Writes{{48, 6}}));
}

TEST_F(RampTest, TheWaitForTheHardwareHasItsLimit) {
  const auto elapsed = [this](auto&& wait) {
    const auto start = machine.clock.Monotonic();
    wait();
    return machine.clock.Monotonic() - start;
  };
  SetTest(kKnee, kLv, 60.0F);
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
      {"VLF", kKnee, kLv, 0.5F, FastReading::kPhasor, 0, 10.0, 9.9},
      {"contact", Msg::TEST_CONTACT_RESISTANCE, kDc, 60, FastReading::kAverage, 1, 0.06, 0.04},
      {"winding", kWinding, kDc, 60, FastReading::kAverage, 1, 0.06, 0.04},
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
      EXPECT_EQ(driver.registers.contains(30), c.type == kWinding);
      fpga.SetLinks({.fast_filter = [this](Dev::FastReading what, int) {
        return std::optional<double>{what == Dev::FastReading::kMaxVoltage ? peak : reading};
      }});
    }
  }
  // however little a block shows of a slow wave, and whatever an old reading says, only new
  // readings prove it; without a fast filter there are none to be had
  for (const float hertz : {0.5F, 60.0F}) {
    SetTest(kKnee, kLv, hertz);
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
      {"VLF", kKnee, kLv, 0.5F, FastReading::kPhasor, 0, 10.0, 9.9},
      {"DC", kWinding, kDc, 60, FastReading::kAverage, 1, -0.06, 0.04},
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

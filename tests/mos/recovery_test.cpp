// What the daemon does by itself: a silent host, a dropped ALLOK line, a voltage above its limit.
#include <gtest/gtest.h>

#include "common/acquisition/ranging/channel_enums.h"
#include "common/acquisition/sine_correlator.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/monitor/monitor.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/recovery.h"
#include "mos/instrument/share_state.h"
#include "mos/instrument/voltage_watch.h"
#include "tests/mos/daemon_bench.h"
#include "tests/platform/bare_machine.h"

namespace {

using Msg::ghmp;
using std::chrono::seconds;

// The timers run on a clock that only the test moves.
class SilentHost : public testing::Test {
 protected:
  SilentHost() {
    Mos::ShareState(Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE));
    EXPECT_EQ(monitor::Init(), 0);
    Ask(0x03, 32);
    manager.GetMeasurement().Start();
  }
  ~SilentHost() override {
    Mos::msgmonitorm.StopTimer();
    monitor::End();
  }
  void Ask(int opcode, int payload = 0) {
    int result = 0;
    AskManager(manager, test::WireRecord(opcode, test::Bytes(static_cast<std::size_t>(payload))),
               result);
  }

  platform::MachineInPlace<> machine;
  libconfig::Config config;
  Dev::I2cMgr i2c{nullptr, 0};
  Mos::MeasMgr manager{i2c, nullptr, 0};
};

TEST_F(SilentHost, IsGivenEightSecondsFromItsLastMessage) {
  for (const auto& [opcode, payload] :
       {std::pair{0x46, 0}, {0x04, 22}, {0x34, 22}, {0x06, 4}, {0x17, 36}, {0x27, 0}, {0x03, 32}}) {
    machine.clock.Advance(seconds(7));
    Ask(opcode, payload);
    EXPECT_TRUE(ghmp->testStart) << opcode;
    manager.GetMeasurement().Start();  // which a set-up ends
  }
  machine.clock.Advance(seconds(7));
  Ask(0x16, 4);  // does not count
  machine.clock.Advance(std::chrono::milliseconds(1100));
  EXPECT_FALSE(manager.GetMeasurement().IsRunning());
  EXPECT_FALSE(ghmp->testStart);
  EXPECT_TRUE(ghmp->GetConsumerFlag());
  EXPECT_FALSE(Mos::msgmonitorm.IsTimerAlive());
  Ask(0x03, 32);
  EXPECT_TRUE(ghmp->testStart);
  EXPECT_TRUE(Mos::msgmonitorm.IsTimerAlive());
}

TEST_F(SilentHost, IsNotWatchedAfterAStop) {
  Ask(0x07);
  ghmp->SetStartTest(true);
  machine.clock.Advance(seconds(60));
  EXPECT_TRUE(ghmp->testStart);
}

class Recovery : public DaemonBench, public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Init(), 0); }
  void SetUpTest() {
    Msg::HmpIniTestParamReq request{};
    request.testype = Msg::TEST_HVVFPF;
    request.voltsrc = 0x1200;
    EXPECT_EQ(Send(0x03, request), 6);
  }
};

TEST_F(Recovery, LeavesAloneWhatTheHostBeginsMeanwhile) {
  SetUpTest();
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  ASSERT_EQ(fpga->WriteReg(Dev::Q5FPGA_WFORM_CTRL, Dev::kWformEnable, __LINE__), 0);
  int looks = 0;
  fpga->SetLinks({.fast_filter = [&](Dev::FastReading, int) {
    EXPECT_FALSE(ghmp->GetConsumerFlag()) << "no fresh phasors for the proof";
    if (++looks == 3) SetUpTest();
    return std::optional(1000.0);
  }});
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  manager.GetRecovery().RecoverMos();
  EXPECT_EQ(looks, 3);
  EXPECT_TRUE(ghmp->testStart);
  EXPECT_EQ(ghmp->testype, Msg::TEST_HVVFPF);
  EXPECT_TRUE(Mos::msgmonitorm.IsTimerAlive());
  EXPECT_EQ(ghmp->discharging, 0);
  EXPECT_FALSE(fpga->PauseTest());
  EXPECT_EQ(Errors(), std::vector<int>{});
  unsigned control = 0;
  ASSERT_EQ(fpga->ReadReg(Dev::Q5FPGA_WFORM_CTRL, control), 0);
  EXPECT_EQ(control & Dev::kWformEnable, Dev::kWformEnable);

  acquisition::SineCorrelator::SetVLFFlag();
  fpga->SetLinks({.fast_filter = [](Dev::FastReading, int) { return std::optional(0.0); }});
  manager.GetRecovery().RecoverMos();
  EXPECT_FALSE(ghmp->testStart);
  EXPECT_FALSE(Mos::msgmonitorm.IsTimerAlive());
  EXPECT_FALSE(acquisition::SineCorrelator::GetVLFFlag());
  EXPECT_EQ(ghmp->discharging, 0);
  EXPECT_TRUE(ghmp->GetConsumerFlag());
}

// Nobody can say that the output is down, so the others stop until a host takes over.
TEST_F(Recovery, DropsAllokWithoutAProof) {
  SetUpTest();
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  Ready();
  fpga->SetLinks({.fast_filter = [](Dev::FastReading, int) { return std::optional(1000.0); }});
  manager.GetRecovery().RecoverMos();
  Mos::AllokCB(&manager.GetRecovery());
  EXPECT_EQ(fpga->GetALLOKOut(), 0);
  EXPECT_FALSE(ghmp->testStart);
  Send(0x37, Msg::HmpEndRowReq{});
  SetUpTest();
  EXPECT_NE(fpga->GetALLOKOut(), 0);
  Mos::AllokCB(&manager.GetRecovery());
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(Recovery, MakesSafeBesideARequestThatHangs) {
  SetUpTest();
  manager.GetMeasurement().Start();
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  Ready();
  EXPECT_EQ(Send(0x27, Msg::HmpPauseTestReq{}), 6);
  std::atomic<bool> hangs = false;
  fpga->SetLinks({.fast_filter = [&](Dev::FastReading, int) {
    if (!hangs.exchange(true)) {
      for (int i = 0; i < 20000 && fpga->GetALLOKOut() != 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    return std::optional(1000.0);
  }});
  {
    const std::jthread host([this] { Send(0x06, Msg::HmpTestRsltReq{}); });
    while (!hangs) std::this_thread::yield();
    clock.Advance(seconds(9));
    manager.GetRecovery().MessageMonitor();
  }
  EXPECT_EQ(fpga->GetALLOKOut(), 0);
  EXPECT_FALSE(ghmp->testStart);
}

TEST_F(Recovery, TheVoltageIsWatchedFromStartToStop) {
  SetUpTest();
  EXPECT_FALSE(Mos::testmonitor.IsTimerAlive());
  EXPECT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  EXPECT_TRUE(Mos::testmonitor.IsTimerAlive());
  EXPECT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
  EXPECT_FALSE(Mos::testmonitor.IsTimerAlive());
}

// A look counts with a new phasor of a channel that measures, or when the signal stays beyond a
// range that was taken for the target.
TEST(VoltageWatch, TripsOnWhatIsKnownToBeTooHigh) {
  constexpr int kExceeds = AcquisitionSystem::Amplitude_exceeds_input_range;
  constexpr int kNotValid = AcquisitionSystem::Data_Not_Valid;
  constexpr int kRanging = AcquisitionSystem::Ranging;
  const struct {
    const char* what;
    double volts;
    bool is_new;
    bool scaled;
    int status;
    bool own_range;
    double hertz;
    int trips_at;  // look, from 1; 0: never
  } cases[] = {
      {"at the limit", 12500, true, true, 0, true, 60, 1},
      {"below it", 12499, true, true, 0, true, 60, 0},
      {"an old phasor", 20000, false, true, 0, true, 60, 0},
      {"on its way to a range", 20000, true, false, kRanging, true, 60, 0},
      {"of a test whose results are spoilt", 12500, true, true, kNotValid, true, 60, 1},
      {"beyond the own range", 0, false, false, kRanging | kExceeds, true, 60, 16},
      {"of a slow signal", 0, false, false, kRanging | kExceeds, true, 1, 56},
      {"beyond the host's range", 0, false, false, kRanging | kExceeds, false, 60, 0},
  };
  for (const auto& c : cases) {
    Mos::VoltageWatch watch;
    int tripped = 0;
    for (int look = 1; look <= 100 && tripped == 0; ++look) {
      const int results = c.is_new ? look : 0;
      if (watch.IsTooHigh({c.volts, results, c.scaled, c.status, c.own_range, c.hertz}, 12500)) {
        tripped = look;
      }
    }
    EXPECT_EQ(tripped, c.trips_at) << c.what;
  }
}

class AllokLine : public DaemonBench, public testing::Test {};

TEST_F(AllokLine, IsRaisedAgainOncePerDrop) {
  ASSERT_EQ(Init(), 0);
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  Mos::AllokCB(&manager.GetRecovery());
  EXPECT_EQ(fpga->GetALLOKOut(), 0);  // not ready yet
  Ready();
  Mos::AllokCB(&manager.GetRecovery());
  EXPECT_EQ(Errors(), std::vector<int>{});
  ASSERT_EQ(fpga->SetALLOK(), 0);
  ASSERT_EQ(fpga->GetALLOKOut(), 0);
  Mos::AllokCB(&manager.GetRecovery());
  Mos::AllokCB(&manager.GetRecovery());
  EXPECT_NE(fpga->GetALLOKOut(), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 1104}));
}

TEST_F(AllokLine, AStopRaisesItToo) {
  ASSERT_EQ(Init(), 0);
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  Ready();
  ASSERT_EQ(fpga->SetALLOK(), 0);
  EXPECT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
  EXPECT_NE(fpga->GetALLOKOut(), 0);
}

}  // namespace

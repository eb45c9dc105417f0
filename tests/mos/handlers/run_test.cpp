// A test from set-up to stop on the virtual board, with the device under test's true values.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <thread>

#include "common/acquisition/arm_correlation.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/msg/state/safety_nak.h"
#include "common/signalh/sample_rate.h"
#include "common/xml/range_tables.h"
#include "mos/instrument/process_flags.h"
#include "tests/mos/daemon_bench.h"

namespace {

using namespace AcquisitionSystem;  // NOLINT(google-build-using-namespace)
using Msg::ghmp;

constexpr short kVoltageWord = 0x1200;
constexpr int kKilovoltsAndAmperes = Msg::RSLT_CH1_KILOVOLTS | Msg::RSLT_CH2_AMPERES;

class TestRun : public DaemonBench, public testing::Test {
 protected:
  void SetUp() override {
    Mos::MeasMgr::StartResults();
    ASSERT_EQ(Init(), 0);
  }
  void SetUpTest(short volts, int current_range, float hertz) {
    Msg::HmpIniTestParamReq set_up{};
    set_up.testype = Msg::TEST_HVVFPF;
    set_up.voltsrc = kVoltageWord;
    set_up.voltmax = volts;
    ASSERT_EQ(Send(0x03, set_up), 6);
    ASSERT_EQ(Send(0x17, Msg::HmpTestRlyReq{}), 6);
    Msg::HmpUpdTestParamReq update{};
    update.volttarget = volts;
    update.curange = static_cast<short>(current_range);
    update.frequency = hertz;
    ASSERT_EQ(Send(0x04, update), hertz < 3 ? 23 : 6);  // 23: in progress
    ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  }
  /// Polls until the data is valid.
  bool AwaitValid() {
    for (int i = 0; i < 20000; ++i) {
      Send(0x46, Msg::HmpAckProgressReq{});
      if (test::WordAt(reply, 7) == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }
  Msg::HmpTestRsltRep Poll(short type = Msg::MSG6_RSLTYPE_FIR_SLOW) {
    Msg::HmpTestRsltReq request{};
    request.rsltype = type;
    EXPECT_EQ(Send(0x06, request), 6);
    Msg::HmpTestRsltRep record{};
    EXPECT_EQ(reply.size(), sizeof record);
    std::memcpy(&record, reply.data(), sizeof record);
    return record;
  }
  /// The most sensitive range for a current (A, RMS).
  static int RangeFor(double amperes) {
    int best = 1;
    for (int i = 1; i <= Dev::range_table_size(1, Msg::ACDC_Current); ++i) {
      const auto* entry = Dev::get_range_table_ent(1, Msg::ACDC_Current, i);
      if (entry->FullScale > amperes * std::numbers::sqrt2 * 1.1) best = i;
    }
    return best;
  }
};

// What was refused on its way is not taken for set when the host asks for it again.
TEST_F(TestRun, AnUpdateAfterARefusedOneSetsEverything) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  SetUpTest(100, RangeFor(0.04), 60);
  ASSERT_TRUE(AwaitValid());
  Msg::HmpUpdTestParamReq update{};
  update.volttarget = 100;
  update.curange = static_cast<short>(RangeFor(0.04));
  update.frequency = 50;
  for (const std::string chip : {"SIGNAL_HOST.SI5338", "MEAS_CH1.SC18IS602B"}) {
    SCOPED_TRACE(chip);
    ASSERT_EQ(Control("fault i2c." + chip + " off"), "ok");
    EXPECT_LT(Send(0x04, update), 0);
    ASSERT_EQ(Control("fault i2c." + chip + " ok"), "ok");
    Send(0x37, Msg::HmpEndRowReq{});
    EXPECT_EQ(Send(0x04, update), 6);
    EXPECT_EQ(Control("get samples.rate"),
              "ok " + std::to_string(static_cast<int>(update.frequency) * 512) + " Hz");
    update.frequency = 60;
  }
}

// The source module says the next step before the host's update comes: then the clock is still the
// old one, although the frequency is the new one already.
TEST_F(TestRun, AStepOfTheSourceIsNoMeasurementUntilItsUpdateHasSetTheClock) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  const int range = RangeFor(0.04);
  EXPECT_EQ(manager.NotifyMosPendingFrequency(50, range, 0), 0);  // without a test
  SetUpTest(100, range, 60);
  ASSERT_TRUE(AwaitValid());
  for (const float wrong : {0.0F, -1.0F, 1000.5F, std::nanf("")}) {
    EXPECT_LT(manager.NotifyMosPendingFrequency(wrong, range, 0), 0);
  }
  EXPECT_LT(manager.NotifyMosPendingFrequency(50, 99, 0), 0);
  EXPECT_LT(manager.NotifyMosPendingFrequency(50, range, -1), 0);
  EXPECT_EQ(manager.NotifyMosPendingFrequency(60, range, ghmp->voltscal), 0);  // it is there
  EXPECT_FALSE(ghmp->GetConsumerFlag());
  ASSERT_TRUE(AwaitValid());

  EXPECT_EQ(manager.NotifyMosPendingFrequency(50, range, 0), 0);
  EXPECT_TRUE(ghmp->GetConsumerFlag());
  const auto zeros = [] {
    return AcqChan::get_AcqCh_instance(ACQ_CH1)->GetEventCount(ACQ_EVT_SOURCE_RAMPED_TO_ZERO);
  };
  EXPECT_EQ(zeros(), 1);
  Send(0x46, Msg::HmpAckProgressReq{});
  EXPECT_NE(test::WordAt(reply, 7) & Data_Not_Valid, 0);
  Msg::HmpUpdTestParamReq update{};
  update.volttarget = 100;
  update.curange = static_cast<short>(range);
  update.frequency = 50;
  EXPECT_EQ(Send(0x04, update), 6);
  EXPECT_EQ(Control("get samples.rate"), "ok 25600 Hz");
  EXPECT_EQ(zeros(), 1);
  EXPECT_FALSE(ghmp->GetConsumerFlag());
  EXPECT_TRUE(AwaitValid());
}

// A service request that changes the clock leaves a test whose parameters are no longer true.
TEST_F(TestRun, AClockChangedBehindATestIsNoMeasurementUntilAnUpdate) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  SetUpTest(100, RangeFor(0.04), 60);
  ASSERT_TRUE(AwaitValid());
  const auto with = [](auto change) {
    Msg::HmpSetSampParamReq request{};
    request.sigmeasrefclk = 1;
    request.sigmeassclk = 1;
    request.freq = 50;
    request.adcclkpersamp = 64;
    request.samppercyc = 256;
    change(request);
    return request;
  };
  for (const auto& bad :
       {with([](auto& r) { r.sigmeasrefclk = 0; }), with([](auto& r) { r.sigmeassclk = 2; }),
        with([](auto& r) { r.freq = std::nanf(""); }), with([](auto& r) { r.freq = 7001; }),
        with([](auto& r) { r.adcclkpersamp = -64; }), with([](auto& r) { r.samppercyc = 0; }),
        with([](auto& r) { r.samppercyc = std::numeric_limits<int>::min(); }),
        with([](auto& r) { r.freqjumpsize = 566668; })}) {
    Send(0x1A, bad);
    EXPECT_EQ(result, 13);
    EXPECT_TRUE(AwaitValid());
  }
  Msg::HmpAdjFreqReq step{};
  ASSERT_NE(Mos::spclksync, 0);
  EXPECT_EQ(Send(0x1B, step), 6);  // the clock is the other module's
  Mos::spclksync = 0;
  for (const int direction : {0, 3, -1}) {
    step.freqincdec = static_cast<short>(direction);
    Send(0x1B, step);
    EXPECT_EQ(result, 13) << direction;
    EXPECT_TRUE(AwaitValid());
  }
  step.freqincdec = 1;

  Msg::HmpUpdTestParamReq update{};
  update.volttarget = 100;
  update.curange = static_cast<short>(RangeFor(0.04));
  update.frequency = 60;
  for (const int opcode : {0x1A, 0x1B}) {
    EXPECT_EQ(opcode == 0x1A ? Send(opcode, with([](auto&) {})) : Send(opcode, step), 6);
    const std::string rate = Control("get samples.rate");
    EXPECT_EQ(rate == "ok 12800 Hz", opcode == 0x1A) << rate;
    for (int i = 0; i < 100; ++i) {
      Send(0x46, Msg::HmpAckProgressReq{});
      ASSERT_NE(test::WordAt(reply, 7) & Data_Not_Valid, 0) << opcode;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(Send(0x04, update), 6);
    EXPECT_TRUE(AwaitValid()) << opcode;
    EXPECT_EQ(Control("get samples.rate"), "ok 30720 Hz");
  }
}

TEST_F(TestRun, WithoutAnUpdateNothingIsValid) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  Msg::HmpIniTestParamReq set_up{};
  set_up.testype = Msg::TEST_HVVFPF;
  set_up.voltsrc = kVoltageWord;
  set_up.voltmax = 100;
  ASSERT_EQ(Send(0x03, set_up), 6);
  ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  const auto before = clock.Monotonic();
  while (clock.Monotonic() - before < std::chrono::seconds(3)) {
    Send(0x46, Msg::HmpAckProgressReq{});
    ASSERT_NE(test::WordAt(reply, 7) & AcquisitionSystem::Data_Not_Valid, 0);
    std::this_thread::yield();
  }
}

// As after a stop of the whole daemon: the host may ask before the first block has been taken.
TEST_F(TestRun, AfterAStallNoOldValueIsValid) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  SetUpTest(100, RangeFor(0.04), 60);
  for (const bool progress : {true, false}) {
    ASSERT_TRUE(AwaitValid());
    clock.SetAutoAdvance(false);
    clock.Spend(std::chrono::seconds(2));
    Msg::HmpTestRsltReq request{};
    request.rsltype = Msg::MSG6_RSLTYPE_FIR_SLOW;
    const int answer = progress ? Send(0x46, Msg::HmpAckProgressReq{}) : Send(0x06, request);
    if (answer == 6) {
      Msg::HmpTestRsltRep record{};
      if (!progress) std::memcpy(&record, reply.data(), sizeof record);
      const int status = progress ? test::WordAt(reply, 7) : int{record.ranging};
      EXPECT_NE(status & AcquisitionSystem::Data_Not_Valid, 0) << progress;
    } else {
      EXPECT_EQ(answer, -Msg::NAK_MCODE_MOS_ACQSTOP);  // the watch of the stream was faster
    }
    clock.SetAutoAdvance(true);
  }
  EXPECT_TRUE(AwaitValid());
}

TEST_F(TestRun, AFrontEndThatStopsAnsweringEndsTheWait) {
  Control("set source.amplitude 100");
  Control("set source.on 1");
  SetUpTest(100, RangeFor(0.04), 60);
  ASSERT_TRUE(AwaitValid());
  ASSERT_EQ(Control("fault i2c.MEAS_CH2.SC18IS602B off"), "ok");
  const auto before = clock.Monotonic();
  while (Errors().empty() && clock.Monotonic() - before < std::chrono::seconds(60)) {
    std::this_thread::yield();
  }
  // a word with one of data: the channel
  EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | Msg::NAK_MCODE_CPLD_FAULT, 1}));
  Send(0x37, Msg::HmpEndRowReq{});
  Send(0x46, Msg::HmpAckProgressReq{});
  EXPECT_NE(test::WordAt(reply, 7) & AcquisitionSystem::Data_Not_Valid, 0);
}

TEST_F(TestRun, MeasuresTheBushing) {
  constexpr double kFarads = 1e-9;
  constexpr double kTanDelta = 0.004;
  ASSERT_EQ(Control("set source.amplitude 100"), "ok");
  ASSERT_EQ(Control("set source.on 1"), "ok");
  for (const float hertz : {60.0F, 50.0F, 60.0F}) {
    SCOPED_TRACE(hertz);
    ASSERT_EQ(Control("set source.frequency " + std::to_string(hertz)), "ok");
    const double amperes = 100 * 2 * std::numbers::pi * double{hertz} * kFarads;
    SetUpTest(100, RangeFor(amperes), hertz);
    ASSERT_TRUE(AwaitValid());
    const auto before = clock.Monotonic();
    while (clock.Monotonic() - before < std::chrono::seconds(2)) std::this_thread::yield();
    const auto record = Poll();
    // a parallel R and C whose tan delta falls with the frequency
    const double tan_delta = kTanDelta * 60 / double{hertz};
    const double power_factor = tan_delta / std::hypot(1, tan_delta);
    // + copies: a member of a packed record may not be referred to
    EXPECT_EQ(+record.ranging, 0);
    EXPECT_EQ(+record.rsltype, kKilovoltsAndAmperes);
    EXPECT_NEAR(record.acfcvolt, 0.1, 0.1 * 5e-4);
    EXPECT_NEAR(record.acamps, amperes * std::hypot(1, tan_delta), amperes * 5e-4);
    EXPECT_NEAR(record.pwrfctr / 100, power_factor, 5e-5);
    EXPECT_NEAR(record.parlcap, kFarads * 1e12, kFarads * 1e12 * 5e-4);
    EXPECT_GT(+record.samplingduration, 0);
    ASSERT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
    EXPECT_FALSE(ghmp->testStart);
    EXPECT_TRUE(ghmp->GetConsumerFlag());
    ASSERT_EQ(Send(0x37, Msg::HmpEndRowReq{}), 6);
  }
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(TestRun, WithoutATestResultsAreZeroAndAStopIsAnswered) {
  const auto record = Poll();
  EXPECT_EQ(+record.acfcvolt, 0);
  EXPECT_EQ(+record.acamps, 0);
  EXPECT_EQ(+record.rsltype, kKilovoltsAndAmperes);
  EXPECT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
  EXPECT_FALSE(manager.GetMeasurement().IsRunning());
}

TEST_F(TestRun, AnUpdateToANormalFrequencyEndsTheSlowCycle) {
  SetUpTest(100, 1, 0.5F);
  EXPECT_TRUE(acquisition::SineCorrelator::GetVLFFlag());
  Msg::HmpUpdTestParamReq update{};
  update.volttarget = 100;
  update.frequency = 60;
  ASSERT_EQ(Send(0x04, update), 6);
  EXPECT_FALSE(acquisition::SineCorrelator::GetVLFFlag());
}

TEST_F(TestRun, AnotherKindOfResultRestartsTheSlowFilterOnce) {
  SetUpTest(100, 1, 60);
  manager.EndAcquisition();  // nobody serves what is asked for
  const struct {
    short type;
    bool restarts;
  } polls[] = {{1, false}, {0, true}, {0, false}, {4, true}, {1, false}};
  for (const auto& poll : polls) {
    AcqChan::set_reset_sine_correlators_request(acquisition::kNoReset);
    Poll(poll.type);
    EXPECT_EQ(AcqChan::get_reset_sine_correlators_request() == acquisition::kResetNow,
              poll.restarts)
        << poll.type;
  }
  EXPECT_TRUE(ghmp->resonatortuningtest);
}

TEST_F(TestRun, FaultsAreReportedAtEachPollUntilAPauseHasReportedThem) {
  SetUpTest(100, 1, 60);
  ghmp->SetErrorCode(746);
  Msg::safetyFault.Add(514, 0x48, 1, 9);
  const auto words = [this] {
    Send(0x06, Msg::HmpTestRsltReq{});
    std::vector<int> list;
    for (int i = 0; i < test::WordAt(reply, 7); ++i) {
      list.push_back(test::WordAt(reply, static_cast<std::size_t>(9 + 2 * i)));
    }
    return list;
  };
  const std::vector<int> expected{2, 746, 12802, 0x48, 1, 9};
  EXPECT_EQ(words(), expected);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(words(), expected);
  ASSERT_EQ(Send(0x07, Msg::HmpStopTestReq{}), -746);
  EXPECT_EQ(result, 0);
  ASSERT_EQ(Send(0x27, Msg::HmpPauseTestReq{}), 6);
  EXPECT_EQ(words(), expected);
  EXPECT_EQ(Send(0x06, Msg::HmpTestRsltReq{}), 6);
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(TestRun, DiagnosticResultsChangeNothing) {
  SetUpTest(100, 1, 60);
  for (const auto& [opcode, size] : {std::pair{0x16, 167u}, {0x26, 179u}}) {
    EXPECT_EQ(Send(opcode, Msg::HmpTestRsltReq{}), 6);
    ASSERT_EQ(reply.size(), size);
    for (std::size_t i = 7; i + 2 < size; ++i) EXPECT_EQ(reply[i], 0) << i;
  }
  EXPECT_TRUE(manager.GetMeasurement().IsRunning());
  EXPECT_EQ(ghmp->testype, Msg::TEST_HVVFPF);
}

TEST_F(TestRun, ADcTestWithoutACurrentHasNoResistance) {
  Msg::HmpIniTestParamReqI set_up{};
  set_up.testype = Msg::TEST_CONTACT_RESISTANCE;
  set_up.currentsrc = 0x1333;
  ASSERT_EQ(Send(0x33, set_up), 6);
  const auto record = Poll();
  EXPECT_EQ(+record.acamps, 0.0F);
  EXPECT_FALSE(std::isfinite(record.sersres));
}

TEST_F(TestRun, AScaleLostWhileTheFilterSettlesIsSetAgain) {
  manager.EndAcquisition();  // the test is the consumer
  acquisition::ARMCorrelation fast(1, 512, 12.5e6, 32, 512, 0, 1024);
  acquisition::ARMCorrelation slow(0, 0, 12.5e6, 32, 512, 0, 1024);
  AcqChan::set_SineCorrelators(&fast, &slow);
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  ghmp->SetStartTest(true);
  ghmp->curange = static_cast<short>(RangeFor(4e-5));
  const auto* entry = Dev::get_range_table_ent(1, Msg::ACDC_Current, ghmp->curange);
  AcqChan& channel = *AcqChan::get_AcqCh_instance(ACQ_CH2);
  AcqChan::announce_parameters();
  const std::vector<int> block(2048, 0x100);
  const auto step = [&] {
    clock.Advance(std::chrono::seconds(1));
    const auto [products, cycle] = slow.update(block.data(), 1024);
    if (cycle != nullptr) slow.Published();
    if (fast.updateF(products) != nullptr) fast.Published();
    channel.external_event_notify(ACQ_EVT_SAMPLES_RECEIVED);
    AcqChan::set_reset_sine_correlators_request(0);
  };
  for (int i = 0; i < 10 && slow.GetRange(1) != entry; ++i) step();
  EXPECT_EQ(slow.GetRange(1), entry);
  slow.SetMeasurementModes();  // as a set-up does
  EXPECT_NE(slow.GetRange(1), entry);
  for (int i = 0; i < 10 && channel.get_status_flag() != Valid_Data; ++i) step();
  EXPECT_EQ(channel.get_status_flag(), Valid_Data);
  EXPECT_EQ(slow.GetRange(1), entry);
  AcqChan::set_SineCorrelators(nullptr, nullptr);
}

TEST_F(TestRun, NoBlockStartsAChannelAgainAfterItsStop) {
  SetUpTest(100, 1, 60);
  AcqChan& channel = *AcqChan::get_AcqCh_instance(ACQ_CH1);
  {
    const std::jthread blocks([&](const std::stop_token& end) {
      while (!end.stop_requested()) {
        channel.external_event_notify(ACQ_EVT_SAMPLES_RECEIVED);
        std::this_thread::sleep_for(std::chrono::microseconds(10));
      }
    });
    ASSERT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
  }
  EXPECT_EQ(channel.get_status_flag(), Data_Not_Valid);
}

class AcquisitionOfATest : public TestRun {
 protected:
  AcquisitionOfATest() { Mos::acqnormal = 1; }
  ~AcquisitionOfATest() override { Mos::acqnormal = 0; }
  void SetUp() override {
    TestRun::SetUp();
    ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);  // the first correlators
  }
};

TEST_F(AcquisitionOfATest, FollowsTheTestsClockAndRange) {
  ASSERT_EQ(Control("set source.amplitude 100"), "ok");
  ASSERT_EQ(Control("set source.on 1"), "ok");
  SetUpTest(100, RangeFor(4e-5), 60);
  ASSERT_TRUE(AwaitValid());
  ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  EXPECT_NE(AcqChan::get_AcqCh_instance(ACQ_CH1)->get_status_flag(), Valid_Data);
  ASSERT_TRUE(AwaitValid());
  EXPECT_NEAR(Poll().parlcap, 1000, 0.5);

  ASSERT_EQ(Send(0x07, Msg::HmpStopTestReq{}), 6);
  SetUpTest(100, 1, 0.1F);
  EXPECT_EQ(AcqChan::get_sineCorr_Slow()->GetSamplesPerCycle(),
            signalh::CalculateSamplesPerCyc(0.1F, ghmp->GetVLFBlockReadyInterrupts()));
}

TEST_F(AcquisitionOfATest, BeginsAgainBesideARecovery) {
  const std::jthread timer([this](const std::stop_token& end) {
    while (!end.stop_requested()) manager.GetRecovery().RecoverMos();
  });
  for (int i = 0; i < 10; ++i) {
    const int answer = Send(0x05, Msg::HmpStartTestReq{});
    // a recovery without a proof keeps ALLOK down until a set-up
    ASSERT_TRUE(answer == 6 || answer == -Msg::NAK_MCODE_MOS_ALLOK) << answer;
  }
}

TEST_F(TestRun, RequestsOutOfOrderLeaveADaemonThatMeasures) {
  for (const int opcode : {0x05, 0x07, 0x27, 0x07, 0x05}) Send(opcode, Msg::HmpStopTestReq{});
  Send(0x04, Msg::HmpUpdTestParamReq{});
  Send(0x17, Msg::HmpTestRlyReq{});
  Send(0x06, Msg::HmpTestRsltReq{});
  ASSERT_EQ(Send(0x37, Msg::HmpEndRowReq{}), 6);
  ASSERT_EQ(Control("set source.amplitude 100"), "ok");
  ASSERT_EQ(Control("set source.on 1"), "ok");
  SetUpTest(100, RangeFor(4e-5), 60);
  ASSERT_TRUE(AwaitValid());
  const auto record = Poll();
  EXPECT_NEAR(record.parlcap, 1000, 0.5);
}

}  // namespace

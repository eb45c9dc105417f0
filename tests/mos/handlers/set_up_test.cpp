// Set-up and update of a test: limits of each field, what an update tells the channels, and what it
// costs when something is missing.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/xml/range_tables.h"
#include "tests/mos/daemon_bench.h"

namespace {

using namespace AcquisitionSystem;  // NOLINT(google-build-using-namespace)
using Msg::ghmp;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr short kVoltageWord = 0x1200;  // high voltage; channel 1 volts, channel 2 amperes
constexpr short kDcWord = 0x1333;       // DC current; channel 1 DC volts

class TestSetUp : public DaemonBench, public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Init(), 0); }

  int SetUpVoltage(short type, short voltmax = 1000) {
    Msg::HmpIniTestParamReq request{};
    request.testype = type;
    request.voltsrc = kVoltageWord;
    request.voltmax = voltmax;
    return Send(0x03, request);
  }
  int SetUpCurrent(short type, short ampmax = 10) {
    Msg::HmpIniTestParamReqI request{};
    request.testype = type;
    request.currentsrc = kDcWord;
    request.ampmax = ampmax;
    return Send(0x33, request);
  }
  static Msg::HmpUpdTestParamReq Voltage(float hertz = 60) {
    Msg::HmpUpdTestParamReq request{};
    request.volttarget = 100;
    request.frequency = hertz;
    return request;
  }
  static Msg::HmpUpdTestParamReqI Current(float hertz = 60) {
    Msg::HmpUpdTestParamReqI request{};
    request.amp = 5;
    request.frequency = hertz;
    return request;
  }
  static std::int64_t Events(EXTERNAL_EVENT event) {
    return AcqChan::get_AcqCh_instance(ACQ_CH1)->GetEventCount(event);
  }
};

TEST_F(TestSetUp, EachFieldOfAVoltageUpdateHasItsLimits) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  const int entries = Dev::range_table_size(0, Msg::AC_Volt);
  ASSERT_GT(entries, 1);
  const auto with = [](auto change) {
    auto request = Voltage();
    change(request);
    return request;
  };
  const struct {
    const char* what;
    Msg::HmpUpdTestParamReq request;
    int answer;
  } cases[] = {
      {"polarity 1", with([](auto& r) { r.polarity = 1; }), 6},
      {"polarity 2", with([](auto& r) { r.polarity = 2; }), -74},
      {"polarity -1", with([](auto& r) { r.polarity = -1; }), -74},
      {"volttarget at voltmax", with([](auto& r) { r.volttarget = 1000; }), 6},
      {"volttarget above", with([](auto& r) { r.volttarget = 1001; }), -75},
      {"volttarget below 0", with([](auto& r) { r.volttarget = -1; }), -75},
      {"voltscal at the end",
       with([=](auto& r) { r.voltscal = static_cast<std::uint16_t>(entries); }), 6},
      {"voltscal beyond",
       with([=](auto& r) { r.voltscal = static_cast<std::uint16_t>(entries + 1); }), -75},
      {"voltscal 65535", with([](auto& r) { r.voltscal = 0xFFFF; }), -75},
      {"1000 Hz", Voltage(1000.0F), 6},
      {"above 1000 Hz", Voltage(std::nextafterf(1000.0F, 2000.0F)), -328},
      {"0.0001 Hz", Voltage(0.0001F), 23},
      {"below 0.0001 Hz", Voltage(0.00009F), -328},
      {"2.9 Hz", Voltage(2.9F), 23},
      {"0 Hz", Voltage(0), -328},
      {"-60 Hz", Voltage(-60), -328},
      {"no number", Voltage(kNan), -328},
      {"infinite", Voltage(kInfinity), -328},
      {"minus infinite", Voltage(-kInfinity), -328},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const float before = ghmp->GetFrequency();
    EXPECT_EQ(Send(0x04, c.request), c.answer);
    EXPECT_EQ(result, c.answer < 0 ? -1 : 0);
    EXPECT_EQ(ghmp->GetFrequency(), c.answer < 0 ? before : float{c.request.frequency});
    EXPECT_FALSE(c.answer > 0 && ghmp->GetConsumerFlag());
  }
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(TestSetUp, EachFieldOfACurrentUpdateHasItsLimits) {
  ASSERT_EQ(SetUpCurrent(Msg::TEST_CONTACT_RESISTANCE), 6);
  for (const auto& [amp, hertz, polarity, answer] : {std::tuple{0, 60.0F, 0, 6},
                                                     {32767, 60.0F, 1, 6},
                                                     {-1, 60.0F, 0, -648},
                                                     {-32768, 60.0F, 0, -648},
                                                     {5, 60.0F, 2, -74},
                                                     {5, kNan, 0, -328},
                                                     {5, kInfinity, 0, -328},
                                                     {5, 1001.0F, 0, -328},
                                                     {5, 2.9F, 0, 6}}) {
    auto request = Current(hertz);
    request.amp = static_cast<short>(amp);
    request.polarity = static_cast<short>(polarity);
    EXPECT_EQ(Send(0x34, request), answer) << amp << " " << hertz << " " << polarity;
  }
}

TEST_F(TestSetUp, ADemagnetisationIsAnsweredAtOnceAndATapChangerKeepsItsFrequency) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_DEMAG), 6);
  EXPECT_EQ(Send(0x04, Voltage(2.9F)), 6);
  ASSERT_EQ(SetUpCurrent(Msg::TEST_OLTC_DRM), 6);
  for (const float asked : {60.0F, kNan, 5000.0F}) {
    EXPECT_EQ(Send(0x34, Current(asked)), 6);
    EXPECT_EQ(ghmp->GetFrequency(), 39.0625F);
  }
}

TEST_F(TestSetUp, TheClockFollowsTheFrequency) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  ASSERT_EQ(Send(0x04, Voltage(50.0F)), 6);
  const double rate = 50.0 * ghmp->samplespercyc;
  std::istringstream answer(Control("get samples.rate"));
  std::string ok;
  double hertz = 0;
  answer >> ok >> hertz;
  EXPECT_NEAR(hertz, rate, rate * 1e-6);
  EXPECT_EQ(AcqChan::get_sineCorr_Fast()->GetSamplesPerCycle(), ghmp->samplespercyc);
  EXPECT_GT(ghmp->GetFilter(0), 0);
}

TEST_F(TestSetUp, ARunningTestPassesChangesToTheChannels) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVTTR), 6);
  ASSERT_EQ(Send(0x04, Voltage()), 6);
  EXPECT_EQ(Events(ACQ_EVT_UPDATE_TEST_PARAMS), 0);
  ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  ASSERT_EQ(Send(0x04, Voltage()), 6);
  EXPECT_EQ(Events(ACQ_EVT_UPDATE_TEST_PARAMS), 0);
  auto more = Voltage();
  more.volttarget = 200;
  ASSERT_EQ(Send(0x04, more), 6);
  EXPECT_EQ(Events(ACQ_EVT_UPDATE_TEST_PARAMS), 1);
  EXPECT_EQ(Events(ACQ_EVT_SOURCE_RAMPED_TO_ZERO), 0);
  more.frequency = 70;
  ASSERT_EQ(Send(0x04, more), 6);
  EXPECT_EQ(Events(ACQ_EVT_UPDATE_TEST_PARAMS), 2);
  EXPECT_EQ(Events(ACQ_EVT_SOURCE_RAMPED_TO_ZERO), 1);
}

TEST_F(TestSetUp, AManualRampKeepsItsFilterOnceItRuns) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  auto manual = Voltage(60);
  manual.volttarget = 0;
  ASSERT_EQ(Send(0x04, manual), 6);
  EXPECT_TRUE(ghmp->IsManualRampTest());
  const short filter = ghmp->GetFilter(0);
  EXPECT_GT(filter, 0);
  ASSERT_EQ(Send(0x05, Msg::HmpStartTestReq{}), 6);
  ghmp->SetFilter(0, 99);
  ASSERT_EQ(Send(0x04, Voltage(60)), 6);
  EXPECT_EQ(ghmp->GetFilter(0), 99);
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  EXPECT_FALSE(ghmp->IsManualRampTest());
}

TEST_F(TestSetUp, ALineSynchronisedTestNeedsTheLine) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_LINE_SYNC_REVERSAL), 6);
  const auto start = clock.Monotonic();
  EXPECT_EQ(Send(0x04, Voltage(kNan)), -328);
  EXPECT_GT(clock.Monotonic() - start, std::chrono::seconds(3));
  for (const auto& [line, answer] : {std::pair{46u, -328}, {47u, 6}, {63u, 6}, {64u, -328}}) {
    ghmp->SetFrequency(m3x64_num{line, 1, 2});
    EXPECT_EQ(Send(0x04, Voltage(kNan)), answer) << line;
  }
  ghmp->SetFrequency(m3x64_num{50, 1, 8});
  ASSERT_EQ(Send(0x04, Voltage(17)), 6);
  EXPECT_EQ(ghmp->GetFrequency(), 50.125F);
}

TEST_F(TestSetUp, AClockThatDoesNotLockIsReported) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  ASSERT_EQ(Control("set i2c.SIGNAL_HOST.SI5338.lock_failures 1000"), "ok");
  EXPECT_EQ(Send(0x04, Voltage(55)), -326);
  EXPECT_FALSE(ghmp->GetConsumerFlag());
  ASSERT_EQ(Control("set i2c.SIGNAL_HOST.SI5338.lock_failures 0"), "ok");
  EXPECT_EQ(Send(0x04, Voltage(55)), 6);
}

TEST_F(TestSetUp, ATapChangerIsToldToTheChannels) {
  for (const auto& [direction, moving, done] : {std::tuple{1, 1, 0}, {3, 1, 1}, {-1, 2, 1}}) {
    Msg::HmpLoadTapChangerReq request{};
    request.direction = static_cast<short>(direction);
    EXPECT_EQ(Send(0x1D, request), 6);
    EXPECT_EQ(Events(ACQ_EVT_TAP_CHANGER_MOVING), moving);
    EXPECT_EQ(Events(ACQ_EVT_TAP_CHANGER_MOVE_DONE), done);
  }
}

TEST_F(TestSetUp, TheDatesOfTheCalibrationAndTheLineAreDefined) {
  ghmp->SetLineFrequency(50);
  EXPECT_EQ(Send(0x38, Msg::HmpMiscConfigReq{}), 6);
  Msg::HmpMiscConfigRep wanted{};
  wanted.SetCalibrationDate("25/03/2024");
  wanted.SetCalibrationDueDate("25/03/2025");
  wanted.linefrequency = 50;
  ASSERT_EQ(reply.size(), sizeof wanted);
  EXPECT_EQ(std::memcmp(reply.data() + 7, wanted.calibdate, 166), 0);
}

TEST_F(TestSetUp, UnknownInputModesRefuseASetUp) {
  for (const short word : {short{0}, short{0x0200}, short{0x7200}, short{-1}}) {
    Msg::HmpIniTestParamReq request{};
    request.voltsrc = word;
    EXPECT_EQ(Send(0x03, request), -265) << word;
    ghmp->ClearErrorCodes();
  }
  EXPECT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
}

TEST_F(TestSetUp, EveryTestAndSourceWordIsAnswered) {
  for (int type = -1; type <= Msg::TEST_NONE + 1; ++type) {
    for (const int source : {0, 2, 3, 5, 6, 15}) {
      Msg::HmpIniTestParamReq request{};
      request.testype = static_cast<short>(type);
      request.voltsrc = static_cast<short>(0x1200 | source);
      request.voltmax = 32767;
      EXPECT_EQ(Send(0x03, request), 6) << type << " " << source;
    }
  }
}

TEST_F(TestSetUp, DividersNeedBothSidesOfAPath) {
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  const Dev::range_table* hv1 = Dev::GetEepromGroup(i2c, *ghmp).GetMainrefTableEnt(0);
  const Dev::range_table* hv2 = Dev::GetEepromGroup(i2c, *ghmp).GetMainrefTableEnt(1);
  const auto* first = AcqChan::get_AcqCh_instance(ACQ_CH1);
  const auto* none = &Dev::EepromGroup::identity_tbl;
  Msg::HmpTestRlyReq relays{};
  for (const auto& [vp, vn, entry] :
       {std::tuple{1 << 12, 0, none},
        {0, 1 << 14, none},
        {1 << 12, 1 << 14, static_cast<const Dev::mode_range_table_ent*>(hv1->ent)},
        {1 << 11, 1 << 13, static_cast<const Dev::mode_range_table_ent*>(hv2->ent)}}) {
    relays.m1vp = static_cast<short>(vp);
    relays.m1vn = static_cast<short>(vn);
    ASSERT_EQ(Send(0x17, relays), 6);
    EXPECT_EQ(first->get_meas(), entry) << vp << " " << vn;
    EXPECT_EQ(ghmp->GetHVMeasScaleFactor(), entry->ScalingFactor);
  }
  Msg::HmpLeadConfigReq leads{};
  leads.energize = 1 << 10 | 1 << 11;
  ASSERT_EQ(Send(0x28, leads), 6);
  EXPECT_EQ(first->get_meas(), hv2->ent);
  leads.energize = 0;
  ASSERT_EQ(Send(0x28, leads), 6);
  EXPECT_EQ(first->get_meas(), none);
}

TEST_F(TestSetUp, AStickyErrorStopsAHighVoltageTestOnly) {
  ghmp->SetStickyError(385);
  ASSERT_EQ(SetUpVoltage(Msg::TEST_HVVFPF), 6);
  EXPECT_EQ(Send(0x17, Msg::HmpTestRlyReq{}), -385);
  ghmp->ClearErrorCodes();
  ASSERT_EQ(SetUpCurrent(Msg::TEST_CONTACT_RESISTANCE), 6);
  EXPECT_EQ(Send(0x17, Msg::HmpTestRlyReq{}), 6);
}

}  // namespace

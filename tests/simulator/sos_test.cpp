// The source module, driven by host records and messages: what switches it on and off, and what it
// says.
#include "simulator/sos.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/msg/records/checksum.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_service.h"
#include "common/msg/records/module_id.h"
#include "simulator/message_text.h"
#include "tests/simulator/sample_fixture.h"

namespace simulator {
namespace {

using Msg::HmpOpcode;

/// The bytes of a record whose fields are set, complete with length and checksum.
template <class Record>
std::vector<std::byte> Bytes(HmpOpcode opcode, Record record) {
  record.opcode = opcode;
  record.len = sizeof record - Msg::kFrameOverhead;
  std::vector<std::byte> bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  const std::uint16_t sum = Msg::ByteSum(bytes.data(), bytes.size() - 2);
  std::memcpy(bytes.data() + bytes.size() - 2, &sum, sizeof sum);
  return bytes;
}

std::vector<std::byte> SetUpTest(int volts, Msg::RNG_TEST_TYPE type = Msg::TEST_HVVFPF,
                                 Msg::SOURCE_E source = Msg::internalLVVoltageSourceE) {
  Msg::HmpIniTestParamReq record{};
  record.testype = type;
  record.voltsrc = static_cast<std::int16_t>(0x210 | source);
  record.voltmax = static_cast<std::int16_t>(volts);
  return Bytes(Msg::HMP_INI_TEST_PARAM, record);
}

std::vector<std::byte> Update(int volts, float hertz = 60) {
  Msg::HmpUpdTestParamReq record{};
  record.volttarget = static_cast<std::int16_t>(volts);
  record.curange = 6;
  record.voltscal = 2;
  record.frequency = hertz;
  return Bytes(Msg::HMP_UPD_TEST_PARAM, record);
}

std::vector<std::byte> Plain(HmpOpcode opcode) { return Bytes(opcode, Msg::HmpStartTestReq{}); }

class SosTest : public SampleTest {
 protected:
  void StartModules() {
    Start60Hz();
    Sos::Setup setup{[this] { return allok_.load(); }};
    setup.links = {[this](const auto& message) { said_ += MessageText(message) + "\n"; },
                   [this] { said_ += "complete\n"; }};
    setup.line_hertz = [] { return 50.0; };
    setup.stopped = [this] { return stopped_; };
    sos_.emplace(setup, clock_, instrument_->Source(), instrument_->Units());
  }
  /// A voltage test that runs and has reached its target.
  void Run() {
    constexpr int kVolts = 100;
    for (const auto& record : {SetUpTest(kVolts), Update(kVolts), Plain(Msg::HMP_START_TEST)}) {
      sos_->Hear(record);
    }
    Pass(400);
  }
  void Pass(int milliseconds) {
    for (int i = 0; i < milliseconds; i += 5) {
      clock_.Advance(std::chrono::milliseconds(5));
      instrument_->Update();
      sos_->Update();
    }
  }
  SourceSettings Source() { return instrument_->Source().Get(); }
  void Set(const char* name, const char* value) {
    EXPECT_TRUE(instrument_->Units().FindValue(name)->set(value));
  }
  void Message(const char* text) { sos_->HearMessage(*MessageFrom(text, Msg::MEAS_MODULE)); }
  std::string Said() { return std::exchange(said_, ""); }

  std::atomic<bool> allok_{true};
  bool stopped_ = false;
  std::string said_;
  std::optional<Sos> sos_;
};

// Each record twice, 7 s apart: what counts as a sign of life holds the test.
TEST_F(SosTest, ASilentHostEndsTheTest) {
  StartModules();
  const struct {
    HmpOpcode opcode;
    bool counts;
  } records[] = {{Msg::HMP_ACK_PROGRESS, true}, {Msg::HMP_CONF_VERS, false}};
  for (const auto& record : records) {
    SCOPED_TRACE(record.opcode);
    Run();
    sos_->Hear(Plain(record.opcode));
    Pass(7500);
    EXPECT_TRUE(Source().on);
    sos_->Hear(Plain(record.opcode));
    Pass(700);
    EXPECT_EQ(Source().on, record.counts);
    Pass(8000);
    EXPECT_FALSE(Source().on);
  }
}

TEST_F(SosTest, ALostAllokSwitchesOff) {
  StartModules();
  allok_ = false;
  Run();
  EXPECT_FALSE(Source().on);
  allok_ = true;
  Run();
  EXPECT_TRUE(Source().on);
  allok_ = false;
  Pass(5);
  EXPECT_FALSE(Source().on);
  EXPECT_EQ(Source().ramp, 0);
  allok_ = true;
  Pass(400);
  EXPECT_FALSE(Source().on);  // a new test is needed
}

constexpr char kEnabled[] = "CHANEVENTMSG module=0 external_event=13\n";
constexpr char kPrepare[] = "CHANEVENTMSG module=0 external_event=10\n";
constexpr char kComplete[] = "complete\n";

// A step of a sweep is at zero, and announced, before the measurement daemon hears of it.
TEST_F(SosTest, SaysEachStepOfASourceInOrder) {
  StartModules();
  const struct {
    Msg::RNG_TEST_TYPE type;
    std::string at_zero;
  } cases[] = {{Msg::TEST_FREQUENCY_SWEEP_DFR,
                "DFRATZEROMSG module=0 freqfloat=50 manualIrange=6 manualVrange=2\n"},
               {Msg::TEST_HVVFPF, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    for (const auto& record : {SetUpTest(100, c.type), Update(80), Plain(Msg::HMP_START_TEST)}) {
      sos_->Hear(record);
      EXPECT_TRUE(sos_->MayPass());
    }
    Pass(400);
    EXPECT_EQ(Said(), std::string(kEnabled) + kComplete);
    sos_->Hear(Update(100));
    EXPECT_TRUE(sos_->MayPass());
    EXPECT_EQ(Said(), kPrepare);
    Pass(400);
    EXPECT_EQ(Said(), kComplete);
    EXPECT_EQ(Source().amplitude, 100);
    sos_->Hear(Update(100, 50));
    int held = 0;
    for (; !sos_->MayPass() && held < 2000; held += 5) {
      EXPECT_FALSE(Source().on);
      EXPECT_TRUE(said_.empty() || held > 250);
      Pass(5);
    }
    EXPECT_GT(held, 250);
    EXPECT_LT(held, 300);
    EXPECT_EQ(Said(), c.at_zero);
    Pass(400);
    EXPECT_EQ(Said(), std::string(kEnabled) + kComplete);
    EXPECT_TRUE(Source().on);
    sos_->Hear(Plain(Msg::HMP_STOP_TEST));
    Pass(400);
    EXPECT_EQ(Said(), "");
  }
}

TEST_F(SosTest, WaitsForTheOffsetsOnlyWhereItIsTold) {
  StartModules();
  Set("sos.waits", "on");
  const auto begin = [this](float hertz) {
    for (const auto& record : {SetUpTest(100, Msg::TEST_FREQUENCY_SWEEP_DFR), Update(100, hertz),
                               Plain(Msg::HMP_START_TEST)}) {
      sos_->Hear(record);
    }
    Pass(1000);
    EXPECT_FALSE(Source().on);
    EXPECT_EQ(Said(), "");
    Message("EARLYDCDONEMSG");
    Pass(500);
    EXPECT_TRUE(Said().starts_with(kEnabled));
  };
  begin(60);
  EXPECT_TRUE(Source().on);
  sos_->Hear(Update(100, 50));  // what came before is not about this step
  Pass(6000);
  EXPECT_FALSE(Source().on);
  sos_->Hear(Plain(Msg::HMP_ACK_PROGRESS));
  Pass(2000);  // 7 s are over
  EXPECT_TRUE(Source().on);
  Said();
  sos_->Hear(Plain(Msg::HMP_STOP_TEST));
  Pass(400);
  begin(0.5);  // slow: a second one before the ramp
  EXPECT_FALSE(Source().on);
  Message("EARLYDCDONEMSG");
  Pass(50);
  EXPECT_TRUE(Source().on);
}

TEST_F(SosTest, TheStopButtonAndTheSafetySwitchCutTheSource) {
  StartModules();
  const struct {
    const char* message;
    const char* answer;
  } cases[] = {{"FPESTOPMSG", "SOSESTOPMSG module=0\n"},
               {"SOSSSWITCHMSG fpfault=1", "SOSACKSSWITCHMSG module=0\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    stopped_ = false;
    Run();
    EXPECT_TRUE(Source().on);
    Said();
    stopped_ = true;
    Message(c.message);
    EXPECT_FALSE(Source().on);
    EXPECT_EQ(Source().ramp, 0);
    EXPECT_EQ(Said(), c.answer);
    Run();
    EXPECT_FALSE(Source().on);
  }
}

TEST_F(SosTest, SaysTheLinesFrequencyUntilALineSynchronisedTestStarts) {
  StartModules();
  const std::string line = "LINEFREQMSG module=0 freq_m3x64=[50 0 8000000]\n";
  sos_->Hear(SetUpTest(100, Msg::TEST_LINE_SYNC_REVERSAL));
  EXPECT_EQ(Said(), line);
  sos_->Hear(Update(100, 0));
  Pass(420);
  EXPECT_EQ(Said(), line + line);
  sos_->Hear(Plain(Msg::HMP_START_TEST));
  Pass(420);
  EXPECT_EQ(Said(), std::string(kEnabled) + kComplete);
  EXPECT_EQ(Source().hertz, 50);
}

TEST_F(SosTest, AnExternalSourceIsAnnouncedAndLeftAlone) {
  StartModules();
  Set("source.amplitude", "7");
  for (const auto& record : {SetUpTest(100, Msg::TEST_HVVFPF, Msg::externalVoltageSourceE),
                             Update(100), Plain(Msg::HMP_START_TEST)}) {
    sos_->Hear(record);
  }
  Pass(50);
  EXPECT_EQ(Said(), std::string(kEnabled) + kComplete);
  sos_->Hear(Plain(Msg::HMP_STOP_TEST));
  Pass(50);
  EXPECT_EQ(Source().amplitude, 7);
  EXPECT_FALSE(Source().on);
}

}  // namespace
}  // namespace simulator

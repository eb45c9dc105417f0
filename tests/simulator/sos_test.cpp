// The source module, driven by host records: what switches it off.
#include "simulator/sos.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/msg/records/checksum.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_service.h"
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

std::vector<std::byte> SetUpTest(int volts) {
  Msg::HmpIniTestParamReq record{};
  record.testype = Msg::TEST_HVVFPF;
  record.voltsrc = 0x210 | Msg::internalLVVoltageSourceE;
  record.voltmax = static_cast<std::int16_t>(volts);
  return Bytes(Msg::HMP_INI_TEST_PARAM, record);
}

std::vector<std::byte> Update(int volts) {
  Msg::HmpUpdTestParamReq record{};
  record.volttarget = static_cast<std::int16_t>(volts);
  record.frequency = 60;
  return Bytes(Msg::HMP_UPD_TEST_PARAM, record);
}

std::vector<std::byte> Plain(HmpOpcode opcode) { return Bytes(opcode, Msg::HmpStartTestReq{}); }

class SosTest : public SampleTest {
 protected:
  void StartModules() {
    Start60Hz();
    sos_.emplace(Sos::Setup{[this] { return allok_.load(); }}, clock_, instrument_->Source(),
                 instrument_->Units());
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

  std::atomic<bool> allok_{true};
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

}  // namespace
}  // namespace simulator

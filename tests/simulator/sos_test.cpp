// The source module and the main module's relays, driven by host records, seen at the source's
// values and in the samples.
#include "simulator/sos.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/msg/records/checksum.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_service.h"
#include "simulator/tos.h"
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

std::vector<std::byte> SetUpVoltage(int source_word, int most,
                                    Msg::RNG_TEST_TYPE type = Msg::TEST_HVVFPF) {
  Msg::HmpIniTestParamReq record{};
  record.testype = type;
  record.voltsrc = static_cast<std::int16_t>(source_word);
  record.voltmax = static_cast<std::int16_t>(most);
  return Bytes(Msg::HMP_INI_TEST_PARAM, record);
}

std::vector<std::byte> Update(int target, float hertz = 60, int polarity = 0) {
  Msg::HmpUpdTestParamReq record{};
  record.volttarget = static_cast<std::int16_t>(target);
  record.frequency = hertz;
  record.polarity = static_cast<std::int16_t>(polarity);
  return Bytes(Msg::HMP_UPD_TEST_PARAM, record);
}

std::vector<std::byte> Plain(HmpOpcode opcode) { return Bytes(opcode, Msg::HmpStartTestReq{}); }

constexpr int kLv = 0x210 | Msg::internalLVVoltageSourceE;

class SosTest : public SampleTest {
 protected:
  void StartModules() {
    Start60Hz();
    sos_.emplace(Sos::Setup{[this] { return allok_.load(); }}, clock_, instrument_->Source(),
                 instrument_->Units());
    tos_.emplace(instrument_->Path(), 1, instrument_->Units());
  }
  void Hear(const std::vector<std::byte>& record) {
    tos_->Hear(record);
    sos_->Hear(record);
  }
  /// A voltage test that runs and has reached its target.
  void Run(int source_word, int target, float hertz = 60) {
    Hear(SetUpVoltage(source_word, target));
    Hear(Update(target, hertz));
    Hear(Plain(Msg::HMP_START_TEST));
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
  std::optional<Tos> tos_;
};

// Each record twice, 7 s apart: what counts as a sign of life holds the test.
TEST_F(SosTest, AHostThatShowsNoSignOfLifeEndsTheTest) {
  StartModules();
  const struct {
    HmpOpcode opcode;
    bool counts;
  } records[] = {{Msg::HMP_ACK_PROGRESS, true}, {Msg::HMP_CONF_VERS, false}};
  for (const auto& record : records) {
    SCOPED_TRACE(record.opcode);
    Run(kLv, 100);
    Hear(Plain(record.opcode));
    Pass(7500);
    EXPECT_TRUE(Source().on);
    Hear(Plain(record.opcode));
    Pass(700);
    EXPECT_EQ(Source().on, record.counts);
    Pass(8000);
    EXPECT_FALSE(Source().on);
  }
}

TEST_F(SosTest, ALostAllokSwitchesOff) {
  StartModules();
  allok_ = false;
  Run(kLv, 100);
  EXPECT_FALSE(Source().on);
  allok_ = true;
  Run(kLv, 100);
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

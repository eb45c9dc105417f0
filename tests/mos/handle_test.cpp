// MeasMgr::Handle: every record gets a complete reply, and only whole, right ones reach a handler.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/safety_nak.h"
#include "mos/meas_mgr.h"
#include "tests/common/msg/records/wire.h"
#include "tests/platform/bare_machine.h"

namespace {

using test::Bytes;
using test::WireRecord;

// Remembers the time of day that it was given.
class Machine : public platform::BareInstrument {
 public:
  int SetRealtime(const timespec& time) override {
    seconds = time.tv_sec;
    nanoseconds = time.tv_nsec;
    return 0;
  }
  time_t seconds = 0;
  long nanoseconds = -1;
};

class HandleTest : public testing::Test {
 protected:
  HandleTest() { std::filesystem::create_directory(in_place.root / "etc"); }

  // The reply to a message whose last frame is `payload`.
  Bytes Ask(const Bytes& payload) {
    std::unique_ptr<Common::ZmbMessage> message(
        Common::ZmbMessage::Init(static_cast<int>(payload.size()) + 1, nullptr, true));
    message->SetPayload(payload.data(), static_cast<int>(payload.size()));
    result = manager.Handle(message.get());
    int size = 0;
    const auto* data = static_cast<const unsigned char*>(message->GetPayload(size));
    return Bytes(data, data + size);
  }

  void WriteVersionFile(const std::string& text) {
    std::ofstream(in_place.root / "etc/varek-fw-version") << text;
  }

  platform::MachineInPlace<Machine> in_place;
  Machine& machine = in_place.instrument;
  libconfig::Config config;
  Msg::HMPData& shared = Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
  Dev::I2cMgr i2c{nullptr, 0};
  Mos::MeasMgr manager{i2c, nullptr, 0};
  int result = 0;
};

void ExpectNak(const Bytes& reply, int opcode) {
  ASSERT_EQ(reply.size(), 139u);
  EXPECT_TRUE(test::IsWhole(reply));
  EXPECT_EQ(test::WordAt(reply, 2), opcode);
  EXPECT_EQ(reply[6], 21);
  EXPECT_EQ(test::WordAt(reply, 7), 2);     // words in the list:
  EXPECT_EQ(test::WordAt(reply, 9), 2);     // this module
  EXPECT_EQ(test::WordAt(reply, 11), 448);  // a message it cannot take
  for (size_t i = 13; i < 137; ++i) EXPECT_EQ(reply[i], 0) << i;
}

Bytes With(Bytes bytes, size_t offset, int value) {
  bytes.at(offset) = static_cast<unsigned char>(value);
  return bytes;
}

TEST_F(HandleTest, RefusesRecordsThatAreNotWhole) {
  const Bytes good = WireRecord(0x46);
  for (size_t size = 0; size < good.size(); ++size) {
    SCOPED_TRACE(size);
    Bytes cut(good.begin(), good.begin() + static_cast<long>(size));
    ExpectNak(Ask(cut), size >= 3 ? -0x46 : 0);
    EXPECT_EQ(result, 6);
  }
  const struct {
    const char* what;
    Bytes bytes;
  } cases[] = {
      {"len -1", With(With(good, 4, 0xFF), 5, 0xFF)},
      {"len -32768", With(With(good, 4, 0x00), 5, 0x80)},
      {"len 32767", With(With(good, 4, 0xFF), 5, 0x7F)},
      {"len one beyond the frame", With(good, 4, 1)},
      {"sum off by one", With(good, 6, good[6] ^ 1)},
      {"sum's high byte wrong", With(good, 7, good[7] ^ 0x80)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ExpectNak(Ask(c.bytes), -0x46);
    EXPECT_EQ(result, 6);
  }
}

TEST_F(HandleTest, IgnoresBytesAfterTheRecord) {
  Bytes padded = WireRecord(0x46);
  padded.insert(padded.end(), 60000, 0xAA);
  Bytes reply = Ask(padded);
  EXPECT_EQ(reply.size(), 49u);
  EXPECT_EQ(reply[6], 6);
}

TEST_F(HandleTest, RefusesARecordShorterThanItsOpcodeNeeds) {
  for (auto [opcode, payload] : {std::pair{0x21, 68}, {0x35, 4}, {0x36, 4}}) {
    ExpectNak(Ask(WireRecord(opcode, Bytes(static_cast<size_t>(payload) - 1))), -opcode);
    EXPECT_EQ(Ask(WireRecord(opcode, Bytes(static_cast<size_t>(payload)))).size(), 9u);
  }
}

TEST_F(HandleTest, TheEndOfARowClearsErrorsAndSafetyFaults) {
  shared.SetErrorCode(Msg::NAK_MCODE_EEPROMXML);
  shared.SetStickyError(Msg::NAK_MCODE_EEPROMXML);
  Msg::safetyFault.Add(514, 1, 2, 3);
  EXPECT_TRUE(Msg::safetyFault.CheckSafetyFault());
  EXPECT_EQ(Ask(WireRecord(0x37)).size(), 9u);
  EXPECT_FALSE(Msg::safetyFault.CheckSafetyFault());
  EXPECT_LE(shared.CopyErrorCodes().errorindex, 0);
  EXPECT_TRUE(shared.IsStickyError());  // what is wrong with the instrument stays wrong
}

TEST_F(HandleTest, AnswersEveryOpcode) {
  const std::map<int, size_t> served = {{0x03, 9}, {0x06, 155}, {0x16, 167}, {0x1B, 9},
                                        {0x1D, 9}, {0x1F, 169}, {0x21, 9},   {0x26, 179},
                                        {0x27, 9}, {0x33, 9},   {0x35, 9},   {0x36, 9},
                                        {0x37, 9}, {0x38, 175}, {0x46, 49}};
  // nothing was set up, there is no acquisition, and a stop misses the clock: that is in the list
  const std::set<int> refused = {0x04, 0x05, 0x07, 0x17, 0x28, 0x34};
  const Bytes payload(68);  // enough for every request that is served
  for (int opcode = -32768; opcode <= 32767; ++opcode) {
    Bytes reply = Ask(WireRecord(opcode, payload));
    auto entry = served.find(opcode);
    // a reply's opcode is negative whatever the request's was
    const int answer = opcode > 0 ? -opcode : opcode;
    if (refused.contains(opcode)) {
      EXPECT_EQ(result, opcode == 0x07 ? 0 : -1) << opcode;
      EXPECT_EQ(reply.size(), 139u) << opcode;
      EXPECT_EQ(reply[6], 21) << opcode;
      EXPECT_TRUE(test::IsWhole(reply));
    } else if (entry == served.end()) {
      // the clock is missing
      EXPECT_EQ(result, opcode == 0x1A ? 13 : 3) << opcode;
      ExpectNak(reply, answer);
    } else {
      EXPECT_EQ(result, 0) << opcode;
      EXPECT_EQ(reply.size(), entry->second) << opcode;
      EXPECT_EQ(reply[6], 6) << opcode;
      EXPECT_EQ(test::WordAt(reply, 2), answer);
      EXPECT_TRUE(test::IsWhole(reply));
    }
    ASSERT_FALSE(HasFailure()) << opcode;
    EXPECT_EQ(reply[0], 1);
    EXPECT_EQ(reply[1], 2);
  }
}

TEST_F(HandleTest, VersionsComeFromTheFirmwareFile) {
  const struct {
    const char* file;
    const char* version;
  } cases[] = {
      {"varek_fw_version=5.4.0.17\n", "5.4.0.17"},
      {"# made by the build\nother=1\nvarek_fw_version=1.2\r\nvarek_fw_version=9\n", "1.2"},
      {"varek_fw_version=no line end", "no line end"},
      {"varek_fw_version=a version of more than fifteen characters\n", "a version of mo"},
      {" varek_fw_version=1\n", ""},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    WriteVersionFile(c.file);
    Bytes reply = Ask(WireRecord(0x1F));
    ASSERT_EQ(reply.size(), 169u);
    auto text = [&](size_t offset) { return std::string(reinterpret_cast<char*>(&reply[offset])); };
    EXPECT_EQ(text(7), "None");
    EXPECT_EQ(text(39), "N/A");
    EXPECT_EQ(text(55), c.version);
    EXPECT_EQ(text(71), "N/A");
    EXPECT_EQ(text(87), "TBD");
    EXPECT_EQ(text(103), "TBD");
    EXPECT_TRUE(test::IsWhole(reply));
  }
}

TEST_F(HandleTest, VersionsWithoutAFileAreEmpty) {
  Bytes reply = Ask(WireRecord(0x1F));
  ASSERT_EQ(reply.size(), 169u);
  EXPECT_EQ(reply[55], 0);
}

TEST_F(HandleTest, VersionsClearTheBootErrors) {
  shared.SetErrorCode(1536);
  shared.SetErrorCode(448);
  Ask(WireRecord(0x1F));
  EXPECT_TRUE(shared.IsErrorCodeNew(1536));
  EXPECT_FALSE(shared.IsErrorCodeNew(448));
}

TEST_F(HandleTest, TheOpcodeIsKnownToOtherThreadsEvenOfABadRecord) {
  Ask(With(WireRecord(7), 6, 0x55));
  EXPECT_TRUE(shared.IsHmpStopMsg());
  Ask(WireRecord(4));
  EXPECT_TRUE(shared.IsHmpUpdateMsg());
}

TEST_F(HandleTest, TimeOfDayReachesTheClock) {
  EXPECT_EQ(Ask(WireRecord(0x35, {0x80, 0x51, 0x01, 0xF0})).size(), 9u);
  EXPECT_EQ(machine.seconds, 0xF0015180);  // unsigned: the year 2097, not 1961
  EXPECT_EQ(machine.nanoseconds, 0);
}

TEST_F(HandleTest, UnknownFieldsAreSentAsZero) {
  for (auto [opcode, size] : {std::pair{0x38, 175u}, {0x46, 49u}}) {
    Bytes reply = Ask(WireRecord(opcode));
    ASSERT_EQ(reply.size(), size);
    for (size_t i = 7; i + 2 < reply.size(); ++i) EXPECT_EQ(reply[i], 0) << opcode << " at " << i;
  }
}

}  // namespace

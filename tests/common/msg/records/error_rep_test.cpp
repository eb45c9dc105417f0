#include "common/msg/records/hmp_error_rep.h"

#include <gtest/gtest.h>

#include "tests/common/msg/records/wire.h"

namespace {

using Msg::HmpErrorRep;
using test::As;
using test::Bytes;
using test::BytesOf;
using test::PutWord;
using test::WireRecord;

constexpr short kUnknown = Msg::NAK_MCODE_UNKNOWNMSG;

// A work buffer that held something else before, with the header of a request.
class ErrorRep : public testing::Test {
 protected:
  ErrorRep() : buffer_(sizeof(HmpErrorRep), 0xEE) { Request(3); }

  void Request(int opcode) {
    Bytes head = WireRecord(opcode);
    std::copy_n(head.begin(), 6, buffer_.begin());
    nak_ = As<HmpErrorRep>(buffer_);
    nak_->InitResponse();
  }
  Bytes Wire() const { return BytesOf(nak_, nak_->GetSize()); }

  // A NAK with these words, by hand.
  static Bytes Nak(int reply_opcode, std::initializer_list<int> words) {
    Bytes payload = {21};
    PutWord(payload, static_cast<int>(words.size()));
    for (int word : words) PutWord(payload, word);
    payload.resize(131);
    return WireRecord(reply_opcode, payload);
  }

  Bytes buffer_;
  HmpErrorRep* nak_ = nullptr;
};

TEST_F(ErrorRep, IsANakWithModuleAndCode) {
  EXPECT_EQ(nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, kUnknown, 0), 0);
  EXPECT_EQ(Wire(), Nak(0xFFFD, {2, 448}));
  EXPECT_EQ(Wire().size(), 139u);
  EXPECT_FALSE(nak_->ChksmInvalid());
}

TEST_F(ErrorRep, NegatesTheOpcodeOnce) {
  struct {
    int request;
    int already;
    int reply;
  } const cases[] = {{3, 0, -3}, {3, 1, -3}, {-3, 0, -3}, {0, 0, 0}, {-32768, 0, -32768}};
  for (const auto& c : cases) {
    Request(c.request);
    nak_->SetNak(c.already);
    EXPECT_EQ(Wire(), Nak(c.reply, {})) << c.request;
    nak_->SetNak(0);
    nak_->SetNak(1);
    EXPECT_EQ(Wire(), Nak(c.reply, {})) << c.request;
  }
}

TEST_F(ErrorRep, TakesNeitherModuleNorDataForACode) {
  nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, 2, 0);  // the module's own value
  EXPECT_EQ(Wire(), Nak(-3, {2, 2}));

  nak_->ecodes[2] = 0x1000 | 322;  // one data word, which happens to be 74
  nak_->ecodes[3] = 74;
  nak_->count = 4;
  nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, 74, 1);
  EXPECT_EQ(Wire(), Nak(-3, {2, 2, 0x1142, 74, 74}));
}

TEST_F(ErrorRep, LeavesAFullListAlone) {
  for (int code = 100; code < 163; ++code) {
    ASSERT_EQ(nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, static_cast<short>(code), 0), 0);
  }
  EXPECT_EQ(int{nak_->count}, 64);
  Bytes full = Wire();
  EXPECT_FALSE(nak_->ChksmInvalid());
  EXPECT_EQ(nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, 200, 0), -1);
  EXPECT_EQ(nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, 100, 0), -1);
  EXPECT_EQ(Wire(), full);
}

TEST_F(ErrorRep, StopsAtTheEndOfAListWithWrongCounts) {
  for (auto i = 1; i < 63; ++i) nak_->ecodes[i] = static_cast<std::int16_t>(0xF000);
  nak_->count = 63;
  EXPECT_EQ(nak_->SetHMPErrorCode(Msg::NAK_MOS_ERR, 75, 0), 0);
  EXPECT_EQ(int{nak_->ecodes[63]}, 75);
}

}  // namespace

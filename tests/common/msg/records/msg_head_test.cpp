#include "common/msg/records/hmp_msg_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/log/logger_mgr.h"
#include "tests/common/msg/records/wire.h"

namespace {

using Logger::logger_mgr;
using Logger::msgL;
using Msg::HmpMsgHead;
using test::As;
using test::Bytes;
using test::WireRecord;
using testing::HasSubstr;
using testing::IsEmpty;

// What the log gets from `call` at the given level of its module.
template <class Call>
std::string LogOf(int level, Call call) {
  logger_mgr::SetModuleLevel(msgL, level);
  testing::internal::CaptureStderr();
  call();
  logger_mgr::SetModuleLevel(msgL, 0);
  return testing::internal::GetCapturedStderr();
}

TEST(HmpMsgHead, SumsHeaderAndPayload) {
  Bytes record = {0, 0, 0, 0, 3, 0, 'a', 'b', 'c', 0x29, 0x01};
  auto* head = As<HmpMsgHead>(record);
  std::string log = LogOf(7, [&] { EXPECT_EQ(head->Chksm(7), 0x0129); });
  EXPECT_THAT(log, HasSubstr("<chksm bytes=9 sum=0x0129"));
  EXPECT_THAT(LogOf(6, [&] { head->Chksm(7); }), IsEmpty());
  EXPECT_EQ(head->GetSize(), 11);
  EXPECT_FALSE(head->ChksmInvalid());
}

TEST(HmpMsgHead, FindsAnyByteThatIsWrong) {
  for (std::size_t payload : {0u, 1u, 32u, 131u, 300u}) {
    // 255s carry the sum past 16 bits and give stored sums with the top bit set
    Bytes good = WireRecord(0x46, Bytes(payload, 0xFF));
    EXPECT_FALSE(As<HmpMsgHead>(good)->ChksmInvalid()) << payload;
    for (std::size_t i = 0; i < good.size(); ++i) {
      if (i == 4 || i == 5) continue;  // `len` moves the checksum itself
      Bytes bad = good;
      bad[i] ^= 0x80;
      EXPECT_TRUE(As<HmpMsgHead>(bad)->ChksmInvalid()) << payload << " byte " << i;
    }
  }
}

TEST(HmpMsgHead, TellsWhatAWrongChecksumWas) {
  Bytes record = {0x81, 2, 0xBA, 0xFF, 1, 0, 6, 0xFF, 0xFE};
  std::string log = LogOf(2, [&] { EXPECT_TRUE(As<HmpMsgHead>(record)->ChksmInvalid()); });
  EXPECT_THAT(log, HasSubstr("ChksmInvalid."));
  EXPECT_THAT(log,
              HasSubstr(": Checksum error! calculated:0x0243  received:0xFEFF  src:81  dest:2  "
                        "op:FFBA  len:0001 offset:7(dec)\n"));
}

TEST(HmpMsgHead, KnowsWhetherAFrameHoldsIt) {
  struct {
    std::size_t frame;
    int len;
    bool whole;
  } const cases[] = {{8, 0, true},        {7, 0, false},     {9, 0, true},
                     {8, 1, false},       {9, 1, true},      {8, -1, false},
                     {65536, -1, false},  {8, -8, false},    {8, -32768, false},
                     {139, 131, true},    {138, 131, false}, {32774, 32767, false},
                     {32775, 32767, true}};
  for (const auto& c : cases) {
    HmpMsgHead head{0, 0, 3, static_cast<std::int16_t>(c.len)};
    EXPECT_EQ(head.FrameHolds(c.frame), c.whole) << c.len << " in " << c.frame;
  }
  Bytes cut(1);  // not even a header to look at
  EXPECT_FALSE(As<HmpMsgHead>(cut)->FrameHolds(cut.size()));
}

TEST(HmpMsgHead, TakesNoNegativeLengthForARecord) {
  Bytes record = {0, 0, 3, 0, 0xFF, 0xFF, 0x01, 0x02};
  auto* head = As<HmpMsgHead>(record);
  EXPECT_TRUE(head->ChksmInvalid());
  EXPECT_EQ(head->GetSize(), 8);
  EXPECT_EQ(head->Chksm(7), 0x201);
  head->BzeroPayload();
  EXPECT_EQ(record[6], 0x01);
}

TEST(HmpMsgHead, ShowsItself) {
  HmpMsgHead head{1, 2, -70, 41};
  EXPECT_THAT(LogOf(6, [&] { head.Show(6); }),
              HasSubstr("<HmpMsgHead size=6 src=1 dst=2 opcode=-70 0xFFBA len=41/>\n"));
  EXPECT_THAT(LogOf(5, [&] { head.Show(6); }), IsEmpty());
}

}  // namespace

#include "common/msg/records/hmp_msg_head.h"

#include <gtest/gtest.h>

#include "tests/common/msg/records/wire.h"

namespace {

using Msg::HmpMsgHead;
using test::As;
using test::Bytes;
using test::WireRecord;

TEST(HmpMsgHead, FindsAnyWrongByte) {
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

TEST(HmpMsgHead, KnowsWhetherAFrameContainsIt) {
  struct {
    std::size_t frame;
    int len;
    bool whole;
  } const cases[] = {{8, 0, true},       {7, 0, false},         {8, 1, false},       {8, -1, false},
                     {65536, -1, false}, {32774, 32767, false}, {32775, 32767, true}};
  for (const auto& c : cases) {
    HmpMsgHead head{0, 0, 3, static_cast<std::int16_t>(c.len)};
    EXPECT_EQ(head.FrameHolds(c.frame), c.whole) << c.len << " in " << c.frame;
  }
  Bytes cut(1);  // not even a header to look at
  EXPECT_FALSE(As<HmpMsgHead>(cut)->FrameHolds(cut.size()));
}

TEST(HmpMsgHead, RefusesANegativeLength) {
  Bytes record = {0, 0, 3, 0, 0xFF, 0xFF, 0x01, 0x02};
  auto* head = As<HmpMsgHead>(record);
  EXPECT_TRUE(head->ChksmInvalid());
  EXPECT_EQ(head->GetSize(), 8);
  EXPECT_EQ(head->Chksm(7), 0x201);
  head->BzeroPayload();
  EXPECT_EQ(record[6], 0x01);
}

}  // namespace

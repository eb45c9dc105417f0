#include "common/msg/records/hmp_records.h"

#include <gtest/gtest.h>

#include "tests/common/msg/records/wire.h"

namespace {

using test::As;
using test::Bytes;
using test::WireRecord;

// A work buffer as the dispatcher hands it out, but dirty: the request's header, then what was
// there.
template <class Reply>
Bytes DirtyBuffer(int opcode) {
  Bytes buffer(sizeof(Reply), 0xEE);
  Bytes request = WireRecord(opcode, {9, 9});
  std::copy_n(request.begin(), 6, buffer.begin());
  return buffer;
}

// The three result replies share a base; each clears and sums its own length.
template <class Reply>
void ExpectResult(int opcode, std::size_t size) {
  Bytes buffer = DirtyBuffer<Reply>(opcode);
  auto* result = As<Reply>(buffer);
  result->InitPayload();
  EXPECT_EQ(int{result->len}, static_cast<int>(size) - 8);
  result->ranging = 0x1234;
  result->acamps = -2.0F;  // 0xC0000000
  result->filtersel = 0x0201;
  result->SetAck();
  Bytes payload(size - 8);
  payload[0] = 6;
  payload[1] = 0x34;
  payload[2] = 0x12;
  payload[25 - 6 + 3] = 0xC0;
  payload[151 - 6] = 0x01;
  payload[152 - 6] = 0x02;
  EXPECT_EQ(buffer, WireRecord(-opcode, payload));
}

TEST(Records, Results) {
  ExpectResult<Msg::HmpTestRsltRep>(0x06, 155);
  ExpectResult<Msg::HmpTestRsltExtRep>(0x16, 167);
  ExpectResult<Msg::HmpTestRsltExtExtRep>(0x26, 179);
}

TEST(Records, OpcodeTableHasTheSizesOfTheWireFormat) {
  struct {
    int opcode, request, reply;
  } const cases[] = {{0x03, 40, 9},   {0x04, 30, 9},   {0x05, 8, 9},   {0x06, 12, 155},
                     {0x07, 8, 9},    {0x16, 12, 167}, {0x17, 44, 9},  {0x1A, 36, 9},
                     {0x1B, 10, 9},   {0x1D, 12, 9},   {0x1F, 8, 169}, {0x21, 76, 9},
                     {0x26, 12, 179}, {0x27, 8, 9},    {0x28, 18, 9},  {0x33, 40, 9},
                     {0x34, 30, 9},   {0x35, 12, 9},   {0x36, 12, 9},  {0x37, 8, 9},
                     {0x38, 8, 175},  {0x46, 8, 49},   {0x50, 30, 29}, {0xFD, 8, 0}};
  EXPECT_EQ(Msg::Messages().size(), std::size(cases));
  for (const auto& c : cases) {
    const Msg::Message* found = Msg::FindMessage(static_cast<std::int16_t>(c.opcode));
    ASSERT_NE(found, nullptr) << c.opcode;
    EXPECT_EQ(found->opcode, c.opcode);
    EXPECT_EQ(found->request->size, c.request) << c.opcode;
    EXPECT_EQ(found->reply == nullptr ? 0 : found->reply->size, c.reply) << c.opcode;
    EXPECT_EQ(Msg::FindMessage(static_cast<std::int16_t>(-c.opcode)), found);
  }
  for (int unknown : {0, 1, 2, 0x08, 0x47, 0xFC, 0xFE, 32767, -32768}) {
    EXPECT_EQ(Msg::FindMessage(static_cast<std::int16_t>(unknown)), nullptr) << unknown;
  }
}

}  // namespace

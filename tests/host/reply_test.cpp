// What ReadReply believes, and how it is told.
#include "host/reply.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "host/report.h"
#include "tests/host/peers.h"

namespace {

const std::regex kMeaning("\n    [^\n]*");  // the sentence behind a code

using host::Answer;
using host::Reply;
using test::Bytes;
using test::Record;
using testing::HasSubstr;

// A NAK's payload of this count and these words.
Bytes NakPayload(int count, const std::vector<int>& words) {
  Bytes payload = {21};
  test::PutWord(payload, count);
  for (int word : words) test::PutWord(payload, word);
  payload.resize(131);
  return payload;
}

Bytes NakOf(int reply_opcode, const std::vector<int>& words) {
  return Record(reply_opcode, NakPayload(static_cast<int>(words.size()), words));
}

Bytes Payload(std::size_t size, int ack) {
  Bytes payload(size);
  payload[0] = static_cast<std::uint8_t>(ack);
  return payload;
}

TEST(ReadReply, DistinguishesGoodFromBad) {
  const Bytes progress = Record(-0x46, Payload(41, 6));
  Bytes wrong_sum = progress;
  wrong_sum.back() ^= 0x80;
  Bytes negative = progress;
  negative[5] = 0xFF;
  Bytes longer = progress;
  longer.push_back(0);
  struct {
    const char* what;
    int request;
    Bytes reply;
    const char* error;  // a part of it; empty when the reply is good
  } const cases[] = {
      {"ACK with data", 0x46, progress, ""},
      {"ACK in progress", 0x04, Record(-4, {23}), ""},
      {"NAK", 0x46, NakOf(-0x46, {2, 448}), ""},
      {"ACK to an opcode unknown here", 0x60, Record(-0x60, {6, 1, 2}), ""},
      {"gateway's own NAK", 0x50, Record(-0x50, Payload(21, 21)), ""},
      {"no header", 0x46, {0, 0, 0xBA, 0xFF, 0}, "too few"},
      {"bytes behind it", 0x46, longer, "len is 41, but"},
      {"negative len", 0x46, negative, "len is -"},
      {"wrong checksum", 0x46, wrong_sum, "checksum is 0x"},
      {"opcode not negated", 0x46, Record(0x46, Payload(41, 6)), "-70 was to come"},
      {"reply to another request", 0x46, Record(-0x1F, Payload(161, 6)), "its opcode is -31"},
      {"ACK shorter than its record", 0x46, Record(-0x46, {6}), "HmpAckProgressRep has 49"},
      {"NAK of no known length", 0x46, Record(-0x46, {21, 0}), "NAK of 10 bytes"},
      {"NAK with 65 words", 0x46, Record(-0x46, NakPayload(65, {2})), "65 error words"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Reply reply;
    std::string error = host::ReadReply(Record(c.request), c.reply, reply);
    EXPECT_EQ(error.empty(), *c.error == '\0') << error;
    EXPECT_THAT(error, HasSubstr(c.error));
    EXPECT_EQ(reply.bytes, c.reply);
  }
}

TEST(ReadReply, ReadsTheErrorListWithItsData) {
  struct {
    std::vector<int> words;
    int module;
    const char* text;
  } const cases[] = {
      {{2, 448}, 2, "refused by the measurement module:\n  NAK_MCODE_UNKNOWNMSG (448, 0x1C0)\n"},
      {{3, 0x2000 | 322, 1, -5, 74},
       3,
       "refused by the source module:\n  NAK_MCODE_SOS_SPCLKINVFREQ (322, 0x142) data 1 -5\n  "
       "NAK_MCODE_MOS_INVALIDPOL (74, 0x04A)\n"},
      // more data promised than there are words
      {{1, 0xF000 | 75, 9},
       1,
       "refused by the main module:\n  NAK_MCODE_MOS_INVALIDVOLT (75, 0x04B) data 9\n"},
      // a major code in the module's place
      {{1104}, 0, "refused:\n  NAK_MCODE_MOS_ALLOK (1104, 0x450)\n"},
      {{}, 0, "refused, no reason given\n"},
  };
  for (const auto& c : cases) {
    Reply reply;
    ASSERT_EQ(host::ReadReply(Record(6), NakOf(-6, c.words), reply), "");
    EXPECT_EQ(reply.answer, Answer::kNak);
    EXPECT_EQ(reply.module, c.module);
    EXPECT_EQ(std::regex_replace(host::NakText(reply), kMeaning, ""), c.text);
  }
  Reply reply;
  std::vector<int> full(64, 0x1000 | 100);
  full[0] = 2;
  ASSERT_EQ(host::ReadReply(Record(6), NakOf(-6, full), reply), "");
  EXPECT_EQ(reply.errors.size(), 32u);
}

TEST(ReadReply, AcceptsADataSetOnlyForFft) {
  Bytes set(16 + 2 * (8 * 3 + 16 * 1));
  set[8] = 3;
  set[12] = 1;
  Reply reply;
  EXPECT_EQ(host::ReadReply(Record(0xFD), set, reply), "");
  EXPECT_EQ(reply.answer, Answer::kDataSet);
  EXPECT_EQ(host::ReadReply(Record(0xFD), Record(0xFD), reply), "");  // no data yet
  EXPECT_EQ(reply.answer, Answer::kDataSet);
  EXPECT_EQ(host::ReadReply(Record(0xFD), NakOf(-0xFD, {2, 448}), reply), "");
  EXPECT_EQ(reply.answer, Answer::kNak);
  EXPECT_NE(host::ReadReply(Record(0x46), set, reply), "");
  set.pop_back();
  EXPECT_NE(host::ReadReply(Record(0xFD), set, reply), "");
  set[11] = 0x80;  // a negative count
  EXPECT_NE(host::ReadReply(Record(0xFD), set, reply), "");
}

}  // namespace

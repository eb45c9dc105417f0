// Messages: how received frames are typed, and what can be done to them.
#include "libs/zmb/src/zmb_message.h"

#include <gtest/gtest.h>

#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using Common::ZmbMessage;
using zmb_test::Frames;
using zmb_test::LogLines;
using zmb_test::PayloadOf;
using zmb_test::Peer;
using Message = std::unique_ptr<ZmbMessage>;

std::string Str(ZmbMessage::Buffer buffer) {
  return {static_cast<const char*>(buffer.first), static_cast<size_t>(buffer.second)};
}

/// Two ends of a wire that carries any list of frames as it is.
class ZmbMessageTest : public testing::Test {
 protected:
  ZmbMessageTest() {
    near_.Bind("inproc://wire");
    far_.Connect("inproc://wire");
  }
  Message Receive(const Frames& frames) {
    far_.Send(frames);
    return Message(ZmbMessage::Recv(near_.Socket()));
  }
  Frames SendOn(Message msg) {
    EXPECT_EQ(ZmbMessage::Send(near_.Socket(), msg.release()), 0);
    return far_.Recv();
  }

  std::unique_ptr<void, int (*)(void*)> context_{zmq_ctx_new(), zmq_ctx_term};
  Peer near_{ZMQ_PAIR, "", context_.get()};
  Peer far_{ZMQ_PAIR, "", context_.get()};
  LogLines log_;
};

/// One digit a frame, as the log shows the types.
std::string Types(const ZmbMessage& msg) {
  LogLines::Clear();
  msg.Show(7);
  const std::string text = LogLines::Text();
  std::string types;
  for (size_t at = text.find(" type="); at != std::string::npos; at = text.find(" type=", at + 1)) {
    types += text[at + 6];
  }
  return types;
}

TEST_F(ZmbMessageTest, DropsWhatIsBeyondItsLimitsAndReadsTheNext) {
  const std::string half(ZmbMessage::kMaxBytes / 2, 'x');
  const struct {
    Frames frames;
    bool taken;
  } cases[] = {{Frames(64, "a"), true},
               {Frames(65, "a"), false},
               {Frames(5000, ""), false},
               {{half, half}, true},
               {{half, half, "x"}, false}};
  for (const auto& c : cases) {
    const Message msg = Receive(c.frames);
    EXPECT_EQ(msg != nullptr, c.taken) << c.frames.size();
    EXPECT_EQ(LogLines::Text().find("dropped") != std::string::npos, !c.taken);
    LogLines::Clear();
    const Message next = Receive({"", "next"});
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(Str(next->GetPayload()), "next");
  }
}

TEST_F(ZmbMessageTest, TypesFramesByTheFirstEmptyOne) {
  const struct {
    Frames frames;
    const char* types;
    int conn_ids;
    const char* descriptor;  // null: none
  } cases[] = {
      {{"p"}, "0", 1, nullptr},
      {{""}, "1", 1, nullptr},
      {{"a", "b"}, "00", 2, nullptr},
      {{"", "p"}, "13", 2, nullptr},
      {{"a", "", "p"}, "013", 1, nullptr},
      {{"", "d", "p"}, "123", 0, "d"},
      {{"a", "", "d", "p"}, "0123", 1, "d"},
      {{"a", "b", "", "p"}, "0013", 2, nullptr},
      {{"a", "", "d", "p", "q"}, "01233", 2, "d"},
  };
  for (const auto& c : cases) {
    Message msg = Receive(c.frames);
    ASSERT_TRUE(msg);
    EXPECT_EQ(Types(*msg), c.types);
    EXPECT_EQ(PayloadOf(*msg), c.frames.back()) << c.types;
    EXPECT_EQ(msg->GetConnIdCount(), c.conn_ids) << c.types;
    EXPECT_EQ(msg->GetConnIdVect(), Frames(c.frames.begin(), c.frames.begin() + c.conn_ids))
        << c.types;
    EXPECT_EQ(msg->GetDescriptorFrame() != nullptr, c.descriptor != nullptr) << c.types;
    int len = -1;
    const void* descriptor = msg->GetDescrValue(len);
    const std::string expected = c.descriptor != nullptr ? c.descriptor : "";
    EXPECT_EQ(std::string(static_cast<const char*>(descriptor), len), expected) << c.types;
    EXPECT_EQ(SendOn(std::move(msg)), c.frames) << c.types;
  }
}

TEST_F(ZmbMessageTest, DupeSharesNothing) {
  const Message msg = Receive({"a", "", "d", "payload"});
  Message copy(ZmbMessage::Dupe(msg.get()));
  static_cast<char*>(copy->GetPayload().first)[0] = 'P';
  EXPECT_EQ(PayloadOf(*msg), "payload");
  EXPECT_EQ(SendOn(std::move(copy)), (Frames{"a", "", "d", "Payload"}));
}

TEST_F(ZmbMessageTest, ReplacesThePayload) {
  for (const std::string& fresh : {std::string(), std::string("same---"), std::string(1000, 'l')}) {
    Message msg = Receive({"a", "", "payload"});
    EXPECT_EQ(msg->SetPayload(fresh.data(), static_cast<int>(fresh.size())),
              static_cast<int>(fresh.size()));
    EXPECT_EQ(SendOn(std::move(msg)), (Frames{"a", "", fresh}));
  }
  Message msg = Receive({"payload"});
  EXPECT_EQ(msg->SetPayload(static_cast<char*>(msg->GetPayload().first) + 3, 4), 4);
  EXPECT_EQ(PayloadOf(*msg), "load") << "a part of the payload itself";
  EXPECT_EQ(msg->SetPayload("x", -1), -1);
  EXPECT_EQ(msg->SetPayload(nullptr, 1), -1);
  EXPECT_EQ(PayloadOf(*msg), "load");
}

}  // namespace

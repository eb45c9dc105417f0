// Messages between modules over real sockets on loopback.
#include "common/zpubsub/zpubsub.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <numeric>

#include "common/zpubsub/records/relay_request.h"
#include "common/zpubsub/resource_log.h"
#include "tests/common/zpubsub/module_net.h"

namespace {

using IMSG::IntPubSubMsg;
using Bytes = std::vector<std::uint8_t>;

constexpr auto kPatience = std::chrono::seconds(20);

class Messages : public testing::Test {
 protected:
  Messages() {
    const std::string source = "tcp://" + test::NetAddress(53) + ":6553";
    peer = Common::zmb_api::OpenSocket(context.get(), ZMQ_PUB);
    EXPECT_EQ(Common::zmb_api::Bind(peer.get(), source.c_str()), 0);
    const auto addresses = [] {
      return IMSG::ModuleAddresses{test::NetAddress(51), test::NetAddress(52),
                                   test::NetAddress(53)};
    };
    EXPECT_EQ(messages.Init(context.get(), 1, addresses), 0);
    ear = Common::zmb_api::OpenSocket(context.get(), ZMQ_SUB);
    const std::string meas = "tcp://" + test::NetAddress(52) + ":6552";
    EXPECT_EQ(Common::zmb_api::Connect(ear.get(), meas.c_str()), 0);
    EXPECT_EQ(zmq_setsockopt(ear.get(), ZMQ_SUBSCRIBE, "", 0), 0);
  }

  void Say(const Bytes& bytes, int flags = 0) {
    EXPECT_EQ(zmq_send(peer.get(), bytes.data(), bytes.size(), flags),
              static_cast<int>(bytes.size()));
  }
  void Say(const IntPubSubMsg& message) {
    const auto bytes = message.Bytes();
    Say(Bytes(bytes.begin(), bytes.end()));
  }
  /// The next message that this module has published.
  Bytes Heard() {
    Bytes bytes(200);
    zmq_pollitem_t item{ear.get(), 0, ZMQ_POLLIN, 0};
    EXPECT_EQ(zmq_poll(&item, 1, 20000), 1);
    const int size = zmq_recv(ear.get(), bytes.data(), bytes.size(), ZMQ_DONTWAIT);
    bytes.resize(static_cast<std::size_t>(std::max(size, 0)));
    return bytes;
  }
  template <class Done>
  static bool Within(Done done) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!done() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
  }

  platform::MachineInPlace<test::ModuleNet> machine;
  Common::zmb_api::Context context = Common::zmb_api::OpenContext();
  Common::zmb_api::Socket peer;
  Common::zmb_api::Socket ear;
  IMSG::zpubsub messages;
};

TEST_F(Messages, OnlyWholeRecordsWithAKnownIdReachTheirReaction) {
  std::atomic<int> frequencies = 0;
  std::atomic<int> others = 0;
  std::atomic<std::uint64_t> whole = 0;
  messages.On(IMSG::LINEFREQMSG, [&](const IntPubSubMsg& message) {
    whole = message.GetFrequency().a;
    ++frequencies;
  });
  messages.On(IMSG::CHANEVENTMSG, [&](const IntPubSubMsg&) { throw ++others; });
  ASSERT_EQ(messages.Start(), 0);
  // a subscriber that has just connected misses what was said before
  const auto acknowledge = [&] {
    auto ack = IntPubSubMsg::Make(IMSG::MOSACKMSG, 0);
    ack.relayAck = 1;
    Say(ack);
    return messages.relayack.load();
  };
  ASSERT_TRUE(Within(acknowledge));

  auto frequency = IntPubSubMsg::Make(IMSG::LINEFREQMSG, 2);
  frequency.SetFrequency({60, 1, 2});
  const auto bytes = frequency.Bytes();
  const Bytes record(bytes.begin(), bytes.end());
  Bytes wrong = record;
  for (const std::size_t size : {0, 6, 110, 112, 4000}) {
    wrong.resize(size);
    Say(wrong);
  }
  Say(record, ZMQ_SNDMORE);
  Say(record);
  for (const int id : {0, 39, -1}) Say(IntPubSubMsg::Make(static_cast<IMSG::MessageId>(id), 2));
  Say(IntPubSubMsg::Make(IMSG::CHANEVENTMSG, 2));
  Say(record);
  EXPECT_TRUE(Within([&] { return frequencies.load() == 1; }));
  EXPECT_EQ(whole, 60U);
  EXPECT_EQ(others, 1);
  messages.End();
  EXPECT_EQ(frequencies, 1);
}

TEST_F(Messages, EachSenderFillsItsFields) {
  const auto word = [](const Bytes& bytes, std::size_t at) {
    std::int32_t value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
  };
  ASSERT_TRUE(Within([&] {
    messages.SendUploadDone();
    zmq_pollitem_t item{ear.get(), 0, ZMQ_POLLIN, 0};
    return zmq_poll(&item, 1, 10) == 1;
  }));
  for (zmq_pollitem_t item{ear.get(), 0, ZMQ_POLLIN, 0}; zmq_poll(&item, 1, 200) == 1;) Heard();

  const struct {
    const char* what;
    std::function<int()> send;
    int id;
    std::size_t at;
    int value;
  } cases[] = {
      {"offset", [&] { return messages.SendEarlyDCDoneMessage(); }, 6, 10, 1},
      {"pass", [&] { return messages.SendXMLPostResult(0, 4096); }, 15, 80, 0},
      {"fail", [&] { return messages.SendXMLPostResult(1, 8192); }, 15, 80, 0x2020},
      {"filter relay", [&] { return messages.SendLVSFilterRelayMSG(3); }, 16, 84, 3},
      {"temperature", [&] { return messages.SendTemp(1, 7, 0x48, 2, 31.5F); }, 26, 104, 0x41FC0000},
      {"ready", [&] { return messages.SendServerStatus(true); }, 38, 108, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.send(), 111);
    const Bytes heard = Heard();
    ASSERT_EQ(heard.size(), 111U);
    EXPECT_EQ(word(heard, 2), 103 << 16 | 0x51);
    EXPECT_EQ(word(heard, 6), c.id);
    if (c.id == 38) {
      EXPECT_EQ(heard[108], 1);
    } else {
      EXPECT_EQ(word(heard, c.at), c.value);
    }
    const int sum = std::accumulate(heard.begin(), heard.end() - 2, 0);
    EXPECT_EQ(heard[109] | heard[110] << 8, sum & 0xFFFF);
  }

  // header, mark, relay word, sum: by hand
  const std::array<std::uint8_t, 12> set{0, 0, 0xF0, 0, 4, 0, 0x71, 0x3C, 0x10, 0, 0xB1, 0x01};
  const std::array<std::uint8_t, 12> reset{0, 0, 0xF1, 0, 4, 0, 0x2D, 0x6E, 0x80, 0, 0x10, 0x02};
  for (const bool sets : {true, false}) {
    messages.relayack = true;
    sets ? messages.SendSetRelays(0) : messages.SendResetRelays(1);
    EXPECT_FALSE(messages.relayack);
    const Bytes heard = Heard();
    ASSERT_EQ(heard.size(), 111U);
    EXPECT_EQ(word(heard, 6), sets ? 8 : 10);
    EXPECT_TRUE(std::equal(set.begin(), set.end(), heard.begin() + 18) == sets);
    EXPECT_TRUE(std::equal(reset.begin(), reset.end(), heard.begin() + 18) != sets);
  }
}

TEST_F(Messages, AMissingPeerIsAwaitedForAMinuteAndThenLeftOut) {
  machine.clock.SetAutoAdvance(true);
  const auto begin = machine.clock.Monotonic();
  IMSG::zpubsub alone;
  machine.instrument.own = test::NetAddress(54);
  EXPECT_EQ(alone.Init(context.get(), 1, [] { return IMSG::ModuleAddresses{}; }), 0);
  EXPECT_EQ(machine.clock.Monotonic() - begin, std::chrono::seconds(60));
  EXPECT_NE(alone.GetPublisher(), nullptr);
  ASSERT_EQ(alone.Start(), 0);
  alone.End();
  EXPECT_EQ(alone.SendUploadDone(), -1);
}

TEST(ResourceLog, AddsUpAsFreeDoes) {
  const std::string table = IMSG::MemoryTable(
      "MemTotal:  1000 kB\nMemFree: 300 kB\nBuffers: 50 kB\nCached: 150 kB\nShmem: 5 kB\n"
      "SwapTotal: 64 kB\nSwapFree: 60 kB\nno number\n");
  EXPECT_NE(table.find("Mem:          1000        700        300          5         50        150"),
            std::string::npos)
      << table;
  EXPECT_NE(table.find("cache:        500        500"), std::string::npos) << table;
  EXPECT_NE(table.find("Swap:           64          4         60"), std::string::npos) << table;
}

}  // namespace

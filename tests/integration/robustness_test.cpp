// What a peer can do wrong on the bus, against the running daemon: every message is answered,
// nothing is lost, memory stays flat.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/common/msg/records/wire.h"
#include "tests/integration/process.h"
#include "tests/libs/zmb/peer.h"

namespace {

using test::Bench;
using test::Bytes;
using test::ExpectNoGrowth;
using test::WireRecord;

// A peer on plain ZeroMQ.
class Peer : public zmb_test::Peer {
 public:
  explicit Peer(const Bench& bench) : zmb_test::Peer(ZMQ_DEALER) {
    SetTimeout(20000);
    Connect("ipc://" + bench.ipc_path());
  }
  std::vector<std::string> Ask(const std::vector<std::string>& frames) {
    return Send(frames).Recv();
  }
};

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

const std::string kProgress = Text(WireRecord(0x46));

bool IsNak(const std::string& payload) { return payload.size() == 139 && payload[6] == 21; }
bool IsProgress(const std::string& payload) { return payload.size() == 49 && payload[6] == 6; }

TEST(Robustness, EveryShapeOfMessageIsAnsweredWithItsFrames) {
  Bench bench;
  bench.StartDaemon();
  Peer peer(bench);
  const std::string large(60000, '\xFF');
  std::vector<std::string> routed(8, std::string(32, 'h'));  // a longer way is refused
  routed.insert(routed.end(), {"", "descriptor", kProgress});
  const struct {
    const char* what;
    std::vector<std::string> frames;
    bool good;
  } cases[] = {
      {"delimiter, descriptor, payload", {"", "17", kProgress}, true},
      {"delimiter, payload", {"", kProgress}, true},
      {"one frame", {kProgress}, true},
      {"one empty frame", {""}, false},
      {"payload empty", {"", "17", ""}, false},
      {"8 routing frames", routed, true},
      {"large payload", {"", "17", large}, false},
      {"large descriptor", {"", std::string(1500, '\xFF'), kProgress}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto reply = peer.Ask(c.frames);
    ASSERT_EQ(reply.size(), c.frames.size());
    for (size_t i = 0; i + 1 < reply.size(); ++i) EXPECT_EQ(reply[i], c.frames[i]);
    EXPECT_EQ(IsProgress(reply.back()), c.good);
    EXPECT_EQ(IsNak(reply.back()), !c.good);
  }
  for (size_t size = 0; size < kProgress.size(); ++size) {
    auto reply = peer.Ask({"", "short", kProgress.substr(0, size)});
    ASSERT_EQ(reply.size(), 3u) << size;
    EXPECT_TRUE(IsNak(reply.back())) << size;
  }
}

TEST(Robustness, RandomRecordsAreAllAnsweredInOrder) {
  Bench bench;
  bench.StartDaemon();
  Peer peer(bench);
  std::mt19937 random(20250101);
  constexpr int kMessages = 20000;
  constexpr int kInFlight = 30;  // a daemon drops replies that a peer lets pile up
  int sent = 0;
  auto send_one = [&] {
    Bytes record = WireRecord(static_cast<int>(random() % 0x100), Bytes(random() % 80));
    if (random() % 4 == 0) record[random() % record.size()] ^= static_cast<unsigned char>(random());
    peer.Send({"", std::to_string(sent++), Text(record)});
  };
  while (sent < kInFlight) send_one();
  for (int answered = 0; answered < kMessages; ++answered) {
    auto reply = peer.Recv();
    ASSERT_EQ(reply.size(), 3u) << answered;
    ASSERT_EQ(reply[1], std::to_string(answered));
    const std::string& record = reply.back();
    ASSERT_GE(record.size(), 9u);
    if (sent < kMessages) send_one();
  }
}

TEST(Robustness, PeersThatDisconnectLeaveNoResources) {
  Bench bench;
  bench.StartDaemon();
  auto visit = [&](int visits) {
    for (int i = 0; i < visits; ++i) {
      Peer peer(bench);
      peer.Send({"", "never read", kProgress});
      // half of them wait, so that the daemon is known to have seen them; half are gone before the
      // reply
      if (i % 2 == 0) {
        ASSERT_EQ(peer.Recv().size(), 3u);
      }
    }
  };
  visit(500);
  const long before = bench.daemon->ResidentKib();
  visit(2000);
  Peer peer(bench);
  EXPECT_TRUE(IsProgress(peer.Ask({"", "", kProgress}).back()));
  ExpectNoGrowth(before, bench.daemon->ResidentKib(), 1024);
}

}  // namespace

// What a peer can do wrong on the bus, against the running daemon: every message is answered,
// nothing is lost, memory stays flat.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zmq.h>

#include <filesystem>
#include <random>
#include <string>

#include "tests/common/msg/records/wire.h"
#include "tests/integration/process.h"

namespace {

using test::Bench;
using test::Bytes;
using test::ExpectNoGrowth;
using test::WireRecord;

// A peer on plain ZeroMQ.
class Peer {
 public:
  explicit Peer(const Bench& bench)
      : context_(zmq_ctx_new()), socket_(zmq_socket(context_, ZMQ_DEALER)) {
    Set(ZMQ_LINGER, 0);
    Set(ZMQ_RCVTIMEO, 20000);
    zmq_connect(socket_, ("ipc://" + bench.ipc_path()).c_str());
  }
  ~Peer() {
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Set(int option, int value) { zmq_setsockopt(socket_, option, &value, sizeof value); }

  void Send(const std::vector<std::string>& frames) {
    for (size_t i = 0; i < frames.size(); ++i) {
      zmq_send(socket_, frames[i].data(), frames[i].size(),
               i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
    }
  }

  // Frames of the next message; none on a timeout.
  std::vector<std::string> Receive() {
    std::vector<std::string> frames;
    int more = 1;
    while (more != 0) {
      zmq_msg_t message;
      zmq_msg_init(&message);
      if (zmq_msg_recv(&message, socket_, 0) < 0) return {};
      frames.emplace_back(static_cast<char*>(zmq_msg_data(&message)), zmq_msg_size(&message));
      more = zmq_msg_more(&message);
      zmq_msg_close(&message);
    }
    return frames;
  }

  std::vector<std::string> Ask(const std::vector<std::string>& frames) {
    Send(frames);
    return Receive();
  }

 private:
  void* context_;
  void* socket_;
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
      {"no delimiter", {"a", "b", kProgress}, true},
      {"one empty frame", {""}, false},
      {"empty frames only", {"", "", ""}, false},
      {"payload empty", {"", "17", ""}, false},
      {"8 routing frames", routed, true},
      {"large payload", {"", "17", large}, false},
      {"much behind a good record", {"", "17", kProgress + large}, true},
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
    auto reply = peer.Receive();
    ASSERT_EQ(reply.size(), 3u) << answered;
    ASSERT_EQ(reply[1], std::to_string(answered));
    const std::string& record = reply.back();
    ASSERT_GE(record.size(), 9u);
    if (sent < kMessages) send_one();
  }
}

TEST(Robustness, PeersThatVanishLeaveNothingBehind) {
  Bench bench;
  bench.StartDaemon();
  auto visit = [&](int visits) {
    for (int i = 0; i < visits; ++i) {
      Peer peer(bench);
      peer.Send({"", "never read", kProgress});
      // half of them wait, so that the daemon is known to have seen them; half are gone before the
      // reply
      if (i % 2 == 0) {
        ASSERT_EQ(peer.Receive().size(), 3u);
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

TEST(Robustness, TenThousandConnectsLeaveNothingBehind) {
  Bench bench;
  bench.StartDaemon();
  auto descriptors = [&] {
    const std::string path = "/proc/" + std::to_string(bench.daemon->pid()) + "/fd";
    return std::distance(std::filesystem::directory_iterator(path), {});
  };
  const auto open_before = descriptors();
  const long before = bench.daemon->ResidentKib();
  for (auto [module, port] : {std::pair{"meas", 3088}, {"main", 3087}}) {
    for (int i = 0; i < 5000; ++i) {
      const int fd = bench.Connect(module, port);
      ASSERT_GE(fd, 0) << module << " " << i;
      ::close(fd);
    }
  }
  // ethb takes one host at a time, and the last of those may still be on its way out
  int tries = 0;
  while (bench.Host({"--via", "host", "progress"}).status != 0) ASSERT_LT(++tries, 100);
  // the last connections may still be on their way out
  for (int i = 0; i < 1000 && descriptors() > open_before + 2; ++i) ::usleep(10000);
  EXPECT_LE(descriptors(), open_before + 2);
  ExpectNoGrowth(before, bench.daemon->ResidentKib(), 2048);
}

TEST(Robustness, MemoryStaysFlatOverManyRequests) {
  Bench bench;
  bench.StartDaemon();
  Peer peer(bench);
  auto ask_many = [&](int count) {
    for (int i = 0; i < count; ++i) ASSERT_EQ(peer.Ask({"", "d", kProgress}).size(), 3u);
  };
  ask_many(2000);
  const long before = bench.daemon->ResidentKib();
  ask_many(30000);
  ExpectNoGrowth(before, bench.daemon->ResidentKib(), 256);
}

}  // namespace

// Peers of the bus that mean harm, against the running daemon: a host that measures notices
// nothing, memory and descriptors stay bounded, and the daemon lives.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/transport.h"
#include "platform/unique_fd.h"
#include "tests/common/msg/records/wire.h"
#include "tests/integration/process.h"

namespace {

using platform::UniqueFd;
using test::Bench;
using test::Bytes;

constexpr rlim_t kDescriptors = 256;

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

const Bytes kProgress = test::WireRecord(0x46);

/// One frame of ZMTP 3.
std::string Frame(int flags, const std::string& body) {
  std::string frame(1, static_cast<char>(flags | (body.size() > 255 ? 2 : 0)));
  for (int shift = body.size() > 255 ? 56 : 0; shift >= 0; shift -= 8) {
    frame += static_cast<char>(static_cast<std::uint64_t>(body.size()) >> shift);
  }
  return frame + body;
}

/// A connection from any loopback address that says what it likes and never reads.
class RawPeer {
 public:
  explicit RawPeer(const Bench& bench, int host = 1)
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in from{};
    from.sin_family = AF_INET;
    from.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + static_cast<unsigned>(host));
    EXPECT_EQ(::bind(socket_.Get(), reinterpret_cast<sockaddr*>(&from), sizeof from), 0);
    const timeval patience{.tv_sec = 1, .tv_usec = 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    sockaddr_in to = from;
    to.sin_port = htons(3088);
    ::inet_pton(AF_INET, bench.AddressOf("meas").c_str(), &to.sin_addr);
    connected_ = ::connect(socket_.Get(), reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
  }

  /// False when the daemon takes no more, or has cut the connection.
  bool Say(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
      const ssize_t n = ::send(socket_.Get(), bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (n <= 0) return false;
      at += static_cast<std::size_t>(n);
    }
    return true;
  }

  void Greet() {
    EXPECT_TRUE(connected_);
    std::string greeting("\xFF\0\0\0\0\0\0\0\x01\x7F\x03\0NULL", 16);
    greeting.resize(64);
    Say(greeting + Frame(4, std::string("\x05READY\x0BSocket-Type\0\0\0\x06"
                                        "DEALER",
                                        28)));
  }

 private:
  UniqueFd socket_;
  bool connected_ = false;  // a refusal may come before the system call returns
};

using Peers = std::vector<std::unique_ptr<RawPeer>>;

void SayWithoutEnd(Peers& peers, const Bench& bench, const std::string& bytes, int megabytes) {
  peers.push_back(std::make_unique<RawPeer>(bench));
  peers.back()->Greet();
  for (std::size_t said = 0; said >> 20 < static_cast<std::size_t>(megabytes);) {
    if (!peers.back()->Say(bytes)) return;
    said += bytes.size();
  }
  ADD_FAILURE() << "all of it was taken";
}

std::string Repeat(const std::string& part, int times) {
  std::string whole;
  for (int i = 0; i < times; ++i) whole += part;
  return whole;
}

void ConnectAndWait(Peers& peers, const Bench& bench) {
  for (int i = 0; i < 700; ++i) peers.push_back(std::make_unique<RawPeer>(bench, 1 + i / 50));
}

void AskAndNeverRead(Peers& peers, const Bench& bench) {
  const std::string question =
      Frame(1, "") + Frame(1, std::string(2000, 'd')) + Frame(0, Text(kProgress));
  const std::string questions = Repeat(question, 100);
  for (int i = 0; i < 8; ++i) {
    peers.push_back(std::make_unique<RawPeer>(bench));
    peers.back()->Greet();
    for (int j = 0; j < 100 && peers.back()->Say(questions); ++j) {
    }
  }
}

/// A libzmq peer with an identity, from one loopback address.
class NamedPeer {
 public:
  NamedPeer(const Bench& bench, int host) {
    zmq_setsockopt(socket_.get(), ZMQ_ROUTING_ID, "Tos.Host", 8);
    const int linger = 0;
    zmq_setsockopt(socket_.get(), ZMQ_LINGER, &linger, sizeof linger);
    const std::string from = "127.0.0." + std::to_string(host) + ":0;";
    zmq_connect(socket_.get(), ("tcp://" + from + bench.AddressOf("meas") + ":3088").c_str());
  }
  bool Asks(test::Milliseconds patience = test::kPatience) {
    const int timeout = static_cast<int>(patience.count());
    zmq_setsockopt(socket_.get(), ZMQ_RCVTIMEO, &timeout, sizeof timeout);
    zmq_send(socket_.get(), kProgress.data(), kProgress.size(), 0);
    return zmq_recv(socket_.get(), nullptr, 0, 0) == 49;
  }

 private:
  std::unique_ptr<void, int (*)(void*)> context_{zmq_ctx_new(), zmq_ctx_term};
  std::unique_ptr<void, int (*)(void*)> socket_{zmq_socket(context_.get(), ZMQ_DEALER), zmq_close};
};

void TakeIdentityOver(Peers&, const Bench& bench) {
  NamedPeer owner(bench, 1);
  EXPECT_TRUE(owner.Asks());
  NamedPeer thief(bench, 2);
  EXPECT_FALSE(thief.Asks(test::Milliseconds(300)));
  EXPECT_TRUE(owner.Asks());
  EXPECT_TRUE(NamedPeer(bench, 1).Asks()) << "from its own address, with the old one still open";
}

/// A host that polls without a pause for as long as it lives, once at least.
class PollingHost {
 public:
  explicit PollingHost(const Bench& bench)
      : transport_(host::MakeBusTransport("ipc://" + bench.ipc_path(),
                                          static_cast<int>(test::kPatience.count()))),
        thread_([this] { Run(); }) {}
  ~PollingHost() {
    ends_ = true;
    thread_.join();
    EXPECT_EQ(failure_, "");
  }

 private:
  void Run() {
    do {
      const host::Exchange exchange = transport_->Ask(kProgress);
      if (exchange.reply.size() != 49 || exchange.reply[6] != 6) {
        failure_ = "no good answer: " + exchange.error;
      }
    } while (!ends_ && failure_.empty());
  }

  std::unique_ptr<host::Transport> transport_;
  std::atomic<bool> ends_{false};
  std::string failure_;
  std::thread thread_;
};

TEST(Abuse, HarmsNeitherTheDaemonNorAHostThatMeasures) {
  rlimit own{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &own), 0);
  ASSERT_GT(own.rlim_max, kDescriptors);
  Bench bench;
  const rlimit low{kDescriptors, own.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &low);  // which the daemon inherits, and raises
  bench.StartDaemon();
  const rlimit high{own.rlim_max, own.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &high);
  const pid_t pid = bench.daemon->pid();
  rlimit raised{};
  ASSERT_EQ(::prlimit(pid, RLIMIT_NOFILE, nullptr, &raised), 0);
  EXPECT_GT(raised.rlim_cur, kDescriptors);
  const rlimit tight{kDescriptors, kDescriptors};
  ASSERT_EQ(::prlimit(pid, RLIMIT_NOFILE, &tight, nullptr), 0);

  test::Process measuring(
      "q5host", {"--root", bench.root.Path(), "--via", "host", "measure", "--voltage", "10000",
                 "--range-current", "5", "--polls", "32767"});
  ASSERT_TRUE(bench.daemon->WaitForOutput("test starts")) << measuring.Output();
  const auto descriptors = [pid] {
    const std::filesystem::directory_iterator open("/proc/" + std::to_string(pid) + "/fd");
    return std::distance(open, {});
  };
  const auto open_before = descriptors();
  const struct {
    const char* name;
    std::function<void(Peers&)> attack;
    const char* logged;
  } cases[] = {
      {"peers that never speak", [&](Peers& p) { ConnectAndWait(p, bench); },
       "too many connections"},
      {"a message without end",
       [&](Peers& p) { SayWithoutEnd(p, bench, Frame(1, std::string(60000, 'x')), 256); },
       "too long"},
      {"tiny frames",
       [&](Peers& p) { SayWithoutEnd(p, bench, Repeat(Frame(1, "xx"), 100000), 64); },
       "too many frames"},
      {"peers that never read", [&](Peers& p) { AskAndNeverRead(p, bench); }, ""},
      {"a stolen identity", [&](Peers& p) { TakeIdentityOver(p, bench); },
       "identity of another address"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const long before = bench.daemon->ResidentKib();
    Peers peers;
    {
      const PollingHost host(bench);
      c.attack(peers);
    }
    EXPECT_TRUE(bench.daemon->WaitForOutput(c.logged));
    const long now = bench.daemon->ResidentKib();
    std::printf("%s: resident memory grew by %ld KiB\n", c.name, now - before);
    test::ExpectNoGrowth(before, now, 32 << 10);
    EXPECT_LT(descriptors(), static_cast<std::ptrdiff_t>(kDescriptors) - 32);
    EXPECT_EQ(bench.Host({"progress"}).status, 0);
    ASSERT_TRUE(bench.daemon->Running());
    ASSERT_TRUE(measuring.Running()) << measuring.Output();
    peers.clear();
    for (int i = 0; i < 1000 && descriptors() > open_before + 2; ++i) ::usleep(10000);
    EXPECT_LE(descriptors(), open_before + 2);
  }
  // both hosts poll, and one of them has set the test up
  const std::string output = bench.daemon->Output();
  const auto told = output.find("test=kept-alive-by-another-host");
  EXPECT_NE(told, std::string::npos);
  EXPECT_EQ(output.find("test=kept-alive-by-another-host", told + 1), std::string::npos);
  ::setrlimit(RLIMIT_NOFILE, &own);
}

}  // namespace

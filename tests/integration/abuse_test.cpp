// Peers of the bus that mean harm, against the running daemon: a host that measures notices
// nothing, memory and descriptors stay bounded, and the daemon lives.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/transport.h"
#include "platform/unique_fd.h"
#include "tests/common/msg/records/wire.h"
#include "tests/integration/process.h"
#include "tests/libs/zmb/peer.h"

namespace {

using platform::UniqueFd;
using test::Bench;
using test::Bytes;

using namespace std::string_literals;

constexpr rlim_t kDescriptors = 256;
constexpr test::Milliseconds kLongerThanAHandshake{2500};

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

const Bytes kProgress = test::WireRecord(0x46);

constexpr int kMore = 1;
constexpr int kCommand = 4;

/// One frame of ZMTP 2 and 3.
std::string Frame(int flags, const std::string& body) {
  std::string frame(1, static_cast<char>(flags | (body.size() > 255 ? 2 : 0)));
  for (int shift = body.size() > 255 ? 56 : 0; shift >= 0; shift -= 8) {
    frame += static_cast<char>(static_cast<std::uint64_t>(body.size()) >> shift);
  }
  return frame + body;
}

/// A connection from any loopback address that says what it likes.
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
    const timeval reading{.tv_sec = test::kPatience.count() / 1000, .tv_usec = 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &reading, sizeof reading);
    const int window = 4096;  // what fits between the ends waits in neither
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDBUF, &window, sizeof window);
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

  /// Reads until `text` has come. False when the connection ends before.
  bool Hears(const std::string& text) {
    char part[256];
    for (std::string heard; heard.find(text) == std::string::npos;) {
      const ssize_t n = ::recv(socket_.Get(), part, sizeof part, 0);
      if (n <= 0) return false;
      heard.append(part, static_cast<std::size_t>(n));
    }
    return true;
  }

  /// The handshake of a version. A peer that goes on before the other end is READY is cut.
  void Greet(int version = 3) { EXPECT_TRUE(Greets(version)); }
  /// False when it finds no place.
  bool Greets(int version = 3) {
    if (!connected_) return false;
    if (version == 1) {
      Say("\x01\0"s);
    } else if (version == 2) {
      Say("\xFF\0\0\0\0\0\0\0\x01\x7F\x01\x05"s + Frame(0, ""));
    } else {
      std::string greeting = "\xFF\0\0\0\0\0\0\0\x01\x7F\x03\0NULL"s;
      greeting.resize(64);
      Say(greeting + Frame(kCommand, "\x05READY\x0BSocket-Type\0\0\0\x06"s + "DEALER"));
      return Hears("READY");
    }
    return true;
  }

  /// Asks as a peer of version 2 that waits for nothing.
  void Leave(const std::string& questions) {
    if (connected_) Say("\xFF\0\0\0\0\0\0\0\x01\x7F\x01\x05"s + Frame(0, "") + questions);
  }

  /// Whether neither end has ended it, read or not.
  bool IsConnected() const {
    tcp_info info{};
    socklen_t size = sizeof info;
    return ::getsockopt(socket_.Get(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
           info.tcpi_state == TCP_ESTABLISHED;
  }

 private:
  UniqueFd socket_;
  bool connected_ = false;  // a refusal may come before the system call returns
};

using Peers = std::vector<std::unique_ptr<RawPeer>>;

void SayWithoutEnd(Peers& peers, const Bench& bench, const std::string& bytes, int megabytes,
                   int version = 3) {
  peers.push_back(std::make_unique<RawPeer>(bench));
  peers.back()->Greet(version);
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

// Each shape of envelope uses up what is allowed, and all of it comes back with the reply.
void AskAndNeverRead(Peers& peers, const Bench& bench) {
  const std::string shapes[] = {Repeat(Frame(kMore, ""), 16),
                                Repeat(Frame(kMore, std::string(40, 'd')), 12),
                                Frame(kMore, std::string(1900, 'd'))};
  constexpr std::size_t kPeers = 60;
  std::vector<std::jthread> asking;
  for (std::size_t i = 0; i < kPeers; ++i) {
    peers.push_back(std::make_unique<RawPeer>(bench, i % 2 == 0 ? 1 : 2));
    peers.back()->Greet();
    const std::string question = shapes[i % std::size(shapes)] + Frame(0, Text(kProgress));
    asking.emplace_back([peer = peers.back().get(), questions = Repeat(question, 100)] {
      for (int j = 0; j < 100 && peer->Say(questions); ++j) {
      }
    });
  }
  asking.clear();
  for (const auto& peer : peers) EXPECT_TRUE(peer->IsConnected());
}

/// Hosts with old libraries: the transport knows the ends of their handshakes less well.
class OldHosts {
 public:
  explicit OldHosts(const Bench& bench) : one_(bench, kHost), two_(bench, kHost) {
    one_.Greet(1);
    two_.Greet(2);
  }
  void ExpectAnswers(const std::string& descriptor) {
    const std::string question = Text(kProgress);
    one_.Say("\x01\x01"s + Frame1(kMore, descriptor) + Frame1(0, question));
    two_.Say(Frame(kMore, "") + Frame(kMore, descriptor) + Frame(0, question));
    EXPECT_TRUE(one_.Hears(descriptor));
    EXPECT_TRUE(two_.Hears(descriptor));
  }

 private:
  static constexpr int kHost = 100;

  static std::string Frame1(char flags, const std::string& body) {
    return std::string{static_cast<char>(body.size() + 1), flags} + body;
  }

  RawPeer one_, two_;
};

/// A libzmq peer with an identity, from one loopback address.
class NamedPeer : public zmb_test::Peer {
 public:
  NamedPeer(const Bench& bench, int host) : Peer(ZMQ_DEALER, "Tos.Host") {
    const std::string from = "127.0.0." + std::to_string(host) + ":0;";
    Connect("tcp://" + from + bench.AddressOf("meas") + ":3088");
  }
  bool Asks(test::Milliseconds patience = test::kPatience) {
    SetTimeout(static_cast<int>(patience.count()));
    const auto reply = Send({Text(kProgress)}).Recv();
    return !reply.empty() && reply.back().size() == 49;
  }
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
  OldHosts old_hosts(bench);
  old_hosts.ExpectAnswers("at first");
  const auto asked = std::chrono::steady_clock::now();
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
       [&](Peers& p) { SayWithoutEnd(p, bench, Frame(kMore, std::string(60000, 'x')), 256); },
       "too long"},
      {"tiny frames",
       [&](Peers& p) { SayWithoutEnd(p, bench, Repeat(Frame(kMore, "xx"), 100000), 64); },
       "envelope too long"},
      {"a message of version 2 without end",
       [&](Peers& p) {
         const std::string part = Frame(kMore, std::string(1000, 'x')) + Frame(kCommand, "");
         SayWithoutEnd(p, bench, Repeat(part, 1000), 64, 2);
       },
       "command out of place"},
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
  std::this_thread::sleep_until(asked + kLongerThanAHandshake);
  old_hosts.ExpectAnswers("at last");
  // both hosts poll, and one of them has set the test up
  const std::string output = bench.daemon->Output();
  const auto told = output.find("test=kept-alive-by-another-host");
  EXPECT_NE(told, std::string::npos);
  EXPECT_EQ(output.find("test=kept-alive-by-another-host", told + 1), std::string::npos);
  ::setrlimit(RLIMIT_NOFILE, &own);
}

// A handler whose device is slow ends after 8 s; until then nobody reads what comes.
TEST(Abuse, PeersThatComeAndGoWhileARequestIsServedLeaveLittleBehind) {
  Bench bench;
  bench.StartDaemon();
  const struct {
    const char* name;
    std::string questions;
  } cases[] = {{"without a question", ""},
               {"with questions", Repeat(Frame(0, std::string(60000, 'x')), 2)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(bench.Control({"fault", "fpga", "slow", "1000"}).status, 0);
    const test::Process slow("q5host", {"--root", bench.root.Path(), "--via", "bus", "--timeout",
                                        "60000", "measure", "--voltage", "5000"});
    const long before = bench.daemon->ResidentKib();
    const auto begin = std::chrono::steady_clock::now();
    int came = 0;
    for (; std::chrono::steady_clock::now() - begin < std::chrono::seconds(5); ++came) {
      RawPeer(bench).Leave(c.questions);
    }
    const long now = bench.daemon->ResidentKib();
    std::printf("%s: %d peers came, resident memory grew by %ld KiB\n", c.name, came, now - before);
    test::ExpectNoGrowth(before, now, 32 << 10);
    EXPECT_TRUE(bench.daemon->WaitForOutput("too many connections of one address"));
    ASSERT_EQ(bench.Control({"fault", "fpga", "ok"}).status, 0);
    EXPECT_EQ(bench.Host({"--timeout", "60000", "progress"}).status, 0);
    // the daemon may still be at what they left
    const auto served = std::chrono::steady_clock::now() + test::kPatience;
    bool greeted = false;
    while (!greeted && std::chrono::steady_clock::now() < served) {
      greeted = RawPeer(bench).Greets();
    }
    EXPECT_TRUE(greeted);
  }
}

}  // namespace

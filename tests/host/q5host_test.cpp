// Whole command lines against peers that play the daemon, over both routes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/app.h"
#include "host/request.h"
#include "host/transport.h"
#include "tests/host/measuring_daemon.h"
#include "tests/host/peers.h"

namespace {

using host::ExitStatus;
using test::Bytes;
using test::Host;
using test::Outcome;
using test::Record;
using test::RouterPeer;
using test::Script;
using test::TcpPeer;
using testing::HasSubstr;

constexpr char kAnyPort[] = "tcp://127.0.0.1:*";

// The progress reply with this first status word.
Bytes Progress(int status) {
  Bytes payload = {6};
  test::PutWord(payload, status);
  payload.resize(41);
  return Record(-0x46, payload);
}

Bytes Nak(int opcode, int code) { return test::NakReply(opcode, code); }

Bytes Versions() {
  Bytes payload(161);
  payload[0] = 6;
  std::string_view("None").copy(reinterpret_cast<char*>(&payload[1]), 4);
  std::string_view("4.2.0").copy(reinterpret_cast<char*>(&payload[49]), 5);
  return Record(-0x1F, payload);
}

// A daemon that knows two requests.
std::vector<Bytes> Daemon(const Bytes& request) {
  if (request == Record(0x46)) return {Progress(0x8421)};
  if (request == Record(0x1F)) return {Versions()};
  return {Nak(request[2], 448)};
}

class BothRoutes : public testing::TestWithParam<const char*> {
 protected:
  // The status of "progress" when `script` answers it.
  Outcome Poll(Script script, const char* timeout = "10000") {
    if (std::string_view(GetParam()) == "bus") {
      RouterPeer peer(kAnyPort, std::move(script));
      return Host({"--connect", peer.uri(), "--timeout", timeout, "progress"});
    }
    TcpPeer peer("127.0.0.1", 0, std::move(script));
    return Host({"--connect", peer.uri(), "--timeout", timeout, "progress"});
  }
};

INSTANTIATE_TEST_SUITE_P(Q5Host, BothRoutes, testing::Values("bus", "host"),
                         [](const auto& route) { return route.param; });

TEST_P(BothRoutes, ExitStatusReportsTheOutcome) {
  Bytes wrong_sum = Progress(0);
  wrong_sum.back() ^= 1;
  Bytes negative = Progress(0);
  negative[5] = 0xFF;
  struct {
    const char* what;
    std::vector<Bytes> replies;
    ExitStatus status;
    const char* told;
  } const cases[] = {
      {"good", {Progress(0x8421)}, ExitStatus::kOk, "channel status  0x8421, Ranging, "},
      {"NAK", {Nak(0x46, 1104)}, ExitStatus::kNak, "(1104, 0x450)"},
      {"wrong checksum", {wrong_sum}, ExitStatus::kMalformed, "malformed reply: the checksum"},
      {"negative len", {negative}, ExitStatus::kMalformed, "malformed reply: len is -"},
      {"other opcode", {Record(-0x47, {6})}, ExitStatus::kMalformed, "its opcode is -71"},
  };
  for (const auto& c : cases) {
    Outcome run = Poll([&c](const Bytes&) { return c.replies; });
    EXPECT_EQ(run.status, c.status) << c.what;
    EXPECT_THAT(run.out + run.err, HasSubstr(c.told)) << c.what;
  }
  Outcome run = Poll([](const Bytes&) { return std::vector<Bytes>(); }, "50");
  EXPECT_EQ(run.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(run.err, HasSubstr("within 50 ms"));
}

TEST_P(BothRoutes, LateReplyIsNotTakenForTheNext) {
  std::promise<void> late;
  std::atomic<int> requests = 0;
  auto script = [&, wait = late.get_future().share()](const Bytes&) {
    wait.wait();
    return std::vector<Bytes>{Progress(++requests)};
  };
  auto check = [&](host::Transport& transport) {
    ASSERT_EQ(transport.Ask(Record(0x46)).status, ExitStatus::kNoAnswer);
    late.set_value();
    host::Exchange next = transport.Ask(Record(0x46));
    ASSERT_EQ(next.status, ExitStatus::kOk) << next.error;
    EXPECT_EQ(next.reply, Progress(2));
  };
  if (std::string_view(GetParam()) == "bus") {
    RouterPeer peer(kAnyPort, script);
    check(*host::MakeBusTransport(peer.uri(), 2000));
  } else {
    TcpPeer peer("127.0.0.1", 0, script);
    check(*host::MakeStreamTransport(peer.uri().substr(7), 2000));
  }
}

TEST(Stream, DistinguishesATruncatedReplyFromSilence) {
  Bytes cut = Progress(0);
  cut.resize(20);
  struct {
    std::vector<Bytes> replies;  // an empty one closes the connection
    ExitStatus status;
    const char* told;
  } const cases[] = {
      {{Bytes()}, ExitStatus::kOtherHost, "another host is connected"},
      {{test::NakReply(0x46, 2, 1)}, ExitStatus::kOtherHost, "another host is connected"},
      {{Bytes(cut.begin(), cut.begin() + 3), Bytes()}, ExitStatus::kMalformed, "3 bytes, then"},
      {{cut, Bytes()}, ExitStatus::kMalformed, "20 bytes, then"},
      {{cut}, ExitStatus::kNoAnswer, "no whole answer"},
  };
  for (const auto& c : cases) {
    TcpPeer peer("127.0.0.1", 0, [&c](const Bytes&) { return c.replies; });
    Outcome run = Host({"--connect", peer.uri(), "--timeout", "1000", "progress"});
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_THAT(run.err, HasSubstr(c.told));
  }
}

// A main module that starts again, and a connection that it closes in the middle of a conversation.
TEST(Stream, ABrokenConnectionIsMadeAgain) {
  TcpPeer peer("127.0.0.1", 0, [count = 0](const Bytes&) mutable -> std::vector<Bytes> {
    if (++count == 2) return {Bytes()};
    return {Progress(count)};
  });
  auto transport = host::MakeStreamTransport(peer.uri().substr(7), 10000);
  EXPECT_EQ(transport->Ask(Record(0x46)).reply, Progress(1));
  const host::Exchange broken = transport->Ask(Record(0x46));
  EXPECT_EQ(broken.status, ExitStatus::kNoAnswer) << broken.error;
  EXPECT_EQ(transport->Ask(Record(0x46)).reply, Progress(3));
}

// The timeout would be a minute.
TEST(Bus, ADaemonThatEndsIsDetectedAtOnce) {
  char directory[] = "/tmp/q5-bus-XXXXXX";
  const std::string uri = std::string("ipc://") + ::mkdtemp(directory) + "/x.ipc";
  std::promise<void> asked;
  auto script = [&asked, first = true](const Bytes&) mutable -> std::vector<Bytes> {
    if (std::exchange(first, false)) asked.set_value();
    return {};
  };
  auto peer = std::make_unique<RouterPeer>(uri, script);
  auto transport = host::MakeBusTransport(uri, 60000);
  auto exchange = std::async([&] { return transport->Ask(Record(0x46)); });
  asked.get_future().wait();
  peer.reset();
  const host::Exchange result = exchange.get();
  EXPECT_EQ(result.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(result.error, HasSubstr("ended"));
  RouterPeer restarted(uri, Daemon);
  EXPECT_EQ(transport->Ask(Record(0x46)).status, ExitStatus::kOk);
  std::filesystem::remove_all(directory);
}

TEST(Send, CorrectsTheChecksumUnlessRaw) {
  std::mutex guard;
  std::vector<Bytes> received;
  RouterPeer peer(kAnyPort, [&](const Bytes& request) {
    std::lock_guard lock(guard);
    received.push_back(request);
    return std::vector<Bytes>{Nak(request[2], 448)};
  });
  Host({"--connect", peer.uri(), "send", "0000460000000909"});
  Host({"--connect", peer.uri(), "send", "--raw", "0000460000000909"});
  Host({"--connect", peer.uri(), "send", "--raw", "000046"});
  std::lock_guard lock(guard);
  EXPECT_THAT(received, testing::ElementsAre(Record(0x46), Bytes{0, 0, 0x46, 0, 0, 0, 9, 9},
                                             Bytes{0, 0, 0x46}));
}

TEST(Usage, ErrorsAreReported) {
  ::unsetenv("Q5_ROOT");  // a developer's own
  struct {
    std::vector<std::string> words;
    const char* told;
  } const cases[] = {
      {{}, "subcommand"},
      {{"progress"}, "--root or --connect"},
      {{"--root", "/tmp", "--connect", "tcp://127.0.0.1", "progress"}, "excludes"},
      {{"--connect", "tcp://127.0.0.1", "--timeout", "0", "progress"}, "timeout"},
      {{"--connect", "tcp://127.0.0.1", "send", "--raw", " "}, "nothing to send"},
      {{"--root", "/nonexistent", "--via", "host", "progress"}, "/nonexistent/etc/hosts"},
  };
  for (const auto& c : cases) {
    Outcome run = Host(c.words);
    EXPECT_EQ(run.status, ExitStatus::kUsage) << c.told;
    EXPECT_THAT(run.err, HasSubstr(c.told));
    EXPECT_EQ(run.out, "");
  }
  const Outcome run = Host({"--json", "--connect", "no\xFFwhere", "progress"});
  EXPECT_EQ(run.status, ExitStatus::kUsage);
  EXPECT_THAT(nlohmann::json::parse(run.out).at("error").get<std::string>(), HasSubstr("where"));
}

TEST(Usage, UnwritableOutputIsReported) {
  RouterPeer peer(kAnyPort, Daemon);
  std::ofstream full("/dev/full");
  std::ostringstream err;
  EXPECT_EQ(host::RunHost({"--connect", peer.uri(), "versions"}, full, err),
            ExitStatus::kNotWritten);
  EXPECT_EQ(err.str(), "q5host: the output could not be written\n");
}

// A directory with the files of an instrument, and an address of this test's own for its main
// module.
class Root : public testing::Test {
 protected:
  Root() {
    ::unsetenv("Q5_ROOT");  // a developer's own
    char name[] = "/tmp/q5-host-XXXXXX";
    root_ = ::mkdtemp(name);
    std::filesystem::create_directories(root_ + "/tmp");
    std::filesystem::create_directories(root_ + "/etc");
    int pid = ::getpid();
    main_ = "127.87." + std::to_string(pid / 250 % 250 + 1) + "." + std::to_string(pid % 250 + 1);
    std::ofstream(root_ + "/etc/hosts") << main_ << " main\n" << main_ << " meas\n";
  }
  ~Root() override { std::filesystem::remove_all(root_); }

  std::string root_;
  std::string main_;
};

// What needs the source takes the host's port, what does not the bus, beside a host that measures.
TEST_F(Root, EachCommandHasItsRoute) {
  RouterPeer ipc("ipc://" + root_ + "/tmp/Mos.MeasMgr.ipc",
                 [](const Bytes&) { return std::vector<Bytes>{Progress(0x0001)}; });
  TcpPeer port(main_, 3087,
               [](const Bytes& request) { return std::vector<Bytes>{Nak(request[2], 1104)}; });
  ::setenv("Q5_ROOT", root_.c_str(), 1);
  const Outcome run = Host({"progress", "--json"});
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
  EXPECT_EQ(nlohmann::json::parse(run.out).at("status_names").at(0), "Ranging");
  ::unsetenv("Q5_ROOT");
  const std::vector<std::string> commands[] = {{"measure", "--voltage", "10"},
                                               {"sweep", "--voltage", "10"},
                                               {"stop"},
                                               {"send", "000007000000"}};
  for (std::vector<std::string> words : commands) {
    words.insert(words.begin(), {"--root", root_});
    EXPECT_EQ(Host(words).status, ExitStatus::kNak) << words.at(2);
  }
}

TEST_F(Root, KeepsTheLastNakAndShowsItByName) {
  EXPECT_EQ(Host({"--root", root_, "errors"}).out, "the daemon has refused nothing here yet\n");
  RouterPeer ipc("ipc://" + root_ + "/tmp/Mos.MeasMgr.ipc", Daemon);
  EXPECT_EQ(Host({"--root", root_, "--via", "bus", "send", "00002A000000"}).status,
            ExitStatus::kNak);
  EXPECT_EQ(Host({"--root", root_, "progress"}).status, ExitStatus::kOk);
  Outcome run = Host({"--root", root_, "errors"});
  EXPECT_EQ(run.status, ExitStatus::kOk);
  EXPECT_THAT(run.out, HasSubstr("00 00 2A 00 00 00 2A 00"));
  EXPECT_THAT(run.out, HasSubstr("NAK_MCODE_UNKNOWNMSG (448, 0x1C0)"));
  // a file that somebody spoilt counts as none
  for (const char* text : {"", "zz\nzz\n", "00\n", "00 00 2A 00 00 00 2A 00\n15\n"}) {
    std::ofstream(root_ + "/tmp/q5host.nak", std::ios::trunc) << text;
    EXPECT_THAT(Host({"--root", root_, "errors"}).out, HasSubstr("refused nothing")) << text;
  }
}

}  // namespace

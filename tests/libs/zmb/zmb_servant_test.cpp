// Servants and workers, asked by plain libzmq clients.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "libs/zmb/src/zmb_msg_broker.h"
#include "libs/zmb/src/zmb_simple_servant.h"
#include "libs/zmb/src/zmb_simple_worker.h"
#include "libs/zmb/src/zmb_tcp_ui_proxy.h"
#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using Common::ZmbMessage;
using zmb_test::Frames;
using zmb_test::FreePort;
using zmb_test::Peer;
using zmb_test::TcpAddress;

class Echo : public Servant::ZmbSimpleServant {
 public:
  explicit Echo(std::function<void(Echo&)> uris = {}) : uris_(std::move(uris)) {}
  void SetFeUris() override {
    if (uris_) uris_(*this);
  }
  int Handle(ZmbMessage* msg) override {
    zmb_test::Exclaim(msg);
    return -1;  // does not matter
  }
  int Links() const { return _sockfe->NumLinks(); }

 private:
  std::function<void(Echo&)> uris_;
};

/// Runs a servant on a thread. A servant that waits sees Stop with the next message: one that goes
/// to `address` is sent at the end.
class Running {
 public:
  Running(Servant::ZmbServant& servant, std::string address)
      : servant_(servant), address_(std::move(address)), thread_([this] { servant_.Start(); }) {}
  ~Running() {
    servant_.Stop();
    Peer last(ZMQ_DEALER);
    const int linger = 5000;
    zmq_setsockopt(last.Socket(), ZMQ_LINGER, &linger, sizeof linger);
    last.Connect(address_).Send({"", "the last one"});
    thread_.join();
  }

 private:
  Servant::ZmbServant& servant_;
  std::string address_;
  std::thread thread_;
};

/// Asks again until the way through routers, which drop what they cannot route yet, stands.
void ExpectAnswer(Peer& client, const Frames& request, const Frames& expected) {
  client.SetTimeout(50);
  Frames reply;
  for (int i = 0; i < 200 && reply != expected; ++i) reply = client.Send(request).Recv();
  EXPECT_EQ(reply, expected);
}

class ServantTest : public zmb_test::BusTest {
 protected:
  /// What a client gets for "hello"; empty when nothing comes.
  static std::string Hello(const std::string& address, const std::string& id = "") {
    Peer client(ZMQ_REQ, id);
    client.Connect(address).Send({"hello"});
    const Frames reply = client.Recv();
    return reply.empty() ? "" : reply.back();
  }
};

TEST_F(ServantTest, ListensWhereItIsToldElseAtTheDefaults) {
  const short def = FreePort();
  const short own = FreePort();
  const std::string ipc = Ipc("/tmp/Test.Echo.ipc");
  const struct {
    const char* name;
    short port;
    std::function<void(Echo&)> uris;
    std::vector<std::string> addresses;
  } cases[] = {
      {"both defaults", def, {}, {TcpAddress(def), ipc}},
      {"port 0", 0, {}, {ipc}},
      {"own port", def, [&](Echo& e) { e.AddFeTcpLink(own); }, {TcpAddress(own)}},
      {"own path", def, [&](Echo& e) { e.AddFeIpcLink("/tmp/own.ipc"); }, {Ipc("/tmp/own.ipc")}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Echo echo(c.uris);
    echo.SetZid("Test.Echo");
    echo.SetDefFeTcpPort(c.port);
    ASSERT_EQ(echo.Init(), 0);
    EXPECT_EQ(echo.Links(), static_cast<int>(c.addresses.size()));
    const Running running(echo, c.addresses[0]);
    for (const std::string& address : c.addresses) EXPECT_EQ(Hello(address), "hello!") << address;
  }
}

TEST_F(ServantTest, AMessageBeyondTheLimitsCostsItsSenderTheConnection) {
  Echo echo;
  echo.SetZid("Test.Echo");
  const std::string address = Ipc("/tmp/Test.Echo.ipc");
  const Running running(echo, address);
  const struct {
    const char* reason;
    Frames frames;
  } cases[] = {
      {"frame too long", {"", std::string((64 << 10) + 1, 'x')}},
      {"envelope too long", Frames(17, "x")},
      {"envelope too long", {"", std::string((2 << 10) + 1, 'd'), "q"}},
  };
  for (const auto& c : cases) {
    Peer greedy(ZMQ_DEALER);
    greedy.SetTimeout(100);
    greedy.Connect(address).Send(c.frames);
    const std::string line = std::string("refused peer=ipc connections=1 reason=\"") + c.reason;
    for (int i = 0; i < 100 && log_.Text().find(line) == std::string::npos; ++i) {
      EXPECT_EQ(greedy.Recv(), Frames());
    }
    EXPECT_NE(log_.Text().find(line), std::string::npos) << c.reason;
    EXPECT_EQ(Hello(address), "hello!");
  }
}

TEST_F(ServantTest, AClientThatComesBackUnderItsIdentityIsServed) {
  Echo echo;
  echo.SetZid("Test.Echo");
  const std::string address = Ipc("/tmp/Test.Echo.ipc");
  const Running running(echo, address);
  Peer before(ZMQ_DEALER, "Test.Client");
  before.Connect(address).Send({"", "q"});
  EXPECT_EQ(before.Recv(), (Frames{"", "q!"}));
  // its connection still stands when it comes again
  EXPECT_EQ(Hello(address, "Test.Client"), "hello!");
}

TEST_F(ServantTest, ManyRequestsLoseNoReplyWhileNoMoreThanTheLimitWait) {
  Echo echo;
  echo.SetZid("Test.Echo");
  const Running running(echo, Ipc("/tmp/Test.Echo.ipc"));
  Peer client(ZMQ_DEALER);
  client.Connect(Ipc("/tmp/Test.Echo.ipc"));
  constexpr int kCount = 8000;
  constexpr int kAhead = 20;
  const std::string body(200, 'b');
  for (int sent = 0; sent < kCount + kAhead; ++sent) {
    if (sent < kCount) client.Send({"", std::to_string(sent) + body});
    if (sent < kAhead) continue;
    ASSERT_EQ(client.Recv(), (Frames{"", std::to_string(sent - kAhead) + body + "!"}));
  }
}

/// Waits until a thread of this process has been asleep for a while, so that it can only wait.
void AwaitAsleep(pid_t thread) {
  for (int asleep = 0; asleep < 100; std::this_thread::yield()) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(stat, text);
    asleep = text.find(") S ") != std::string::npos ? asleep + 1 : 0;
  }
}

TEST_F(ServantTest, StopTakesEffectWithTheNextMessage) {
  Echo echo;
  echo.SetZid("Test.Echo");
  std::atomic<bool> ended{false};
  std::atomic<pid_t> thread{0};
  std::thread loop([&] {
    thread = gettid();
    EXPECT_EQ(echo.Start(), 0);
    ended = true;
  });
  const std::string address = Ipc("/tmp/Test.Echo.ipc");
  EXPECT_EQ(Hello(address), "hello!");
  AwaitAsleep(thread);
  echo.Stop();
  EXPECT_FALSE(ended);
  EXPECT_EQ(Hello(address), "hello!") << "which is still served";
  loop.join();
}

TEST_F(ServantTest, AFaultOfTheTransportsThreadIsHandled) {
  Echo echo;
  echo.SetZid("Test.Echo");
  const std::string address = Ipc("/tmp/Test.Echo.ipc");
  const Running running(echo, address);
  EXPECT_EQ(Hello(address), "hello!");
  int threads = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(task.path() / "status");
    std::string word, name;
    status >> word >> name;
    if (!name.starts_with("ZMQbg/IO")) continue;
    while (status >> word && word != "SigBlk:") {
    }
    std::uint64_t blocked = 0;
    status >> std::hex >> blocked;
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
      EXPECT_EQ(blocked >> (fault - 1) & 1, 0u) << fault;
    }
    ++threads;
  }
  EXPECT_EQ(threads, 1);
}

TEST_F(ServantTest, WithoutItsEndPointItDoesNotStart) {
  Peer other(ZMQ_ROUTER);
  auto holder = std::make_unique<Peer>(ZMQ_ROUTER);
  holder->Bind(Ipc("/tmp/Test.Echo.ipc"));
  Echo echo;
  echo.SetZid("Test.Echo");
  EXPECT_EQ(echo.Init(), -1);
  EXPECT_EQ(echo.Start(), -1);
  EXPECT_NE(log_.Text().find("3 <link uri=ipc:///tmp/Test.Echo.ipc stat=98 mode=0/>"),
            std::string::npos);
  holder.reset();
  EXPECT_EQ(echo.Init(), 0) << "as new, once the other is gone";
}

// --- Workers ---

class EchoWorker : public Worker::ZmbSimpleWorker {
 public:
  using ZmbSimpleWorker::ZmbSimpleWorker;
  ~EchoWorker() override { EndThread(); }
  void SetFeUris() override {}
  int Handle(ZmbMessage* msg) override {
    zmb_test::Exclaim(msg);
    return 0;
  }
};

TEST_F(ServantTest, AWorkerServesOnItsThreadUntilItIsEnded) {
  const std::string address = Ipc("/tmp/Test.Worker.ipc");
  {
    EchoWorker worker;
    worker.SetZid("Test.Worker");
    EXPECT_EQ(worker.Start(), 0);
    EXPECT_EQ(worker.Start(), EBUSY);
    EXPECT_EQ(Hello(address), "hello!");
    EchoWorker second;
    second.SetZid("Test.Worker");
    EXPECT_EQ(second.Start(), -1);
  }
  EXPECT_EQ(Worker::ZmbWorker::static_zmq_ctx, nullptr);
}

class FailingWorker : public EchoWorker {
 public:
  ~FailingWorker() override { EndThread(); }
  int Handle(ZmbMessage* msg) override {
    if (zmb_test::PayloadOf(*msg) == "fail") throw std::runtime_error("in Handle");
    return EchoWorker::Handle(msg);
  }
  void Run() override {
    if (++runs_ == 1) throw std::runtime_error("in Run");
    EchoWorker::Run();
  }

 private:
  int runs_ = 0;
};

TEST_F(ServantTest, AWorkerOutlivesItsExceptions) {
  const std::string address = Ipc("/tmp/Test.Worker.ipc");
  machine_.clock.SetAutoAdvance(true);
  FailingWorker worker;
  worker.SetZid("Test.Worker");
  EXPECT_EQ(worker.Start(), 0);
  Peer client(ZMQ_DEALER);
  client.Connect(address).Send({"", "fail"}).Send({"", "hello"});
  EXPECT_EQ(client.Recv(), (Frames{"", "hello!"}));
}

/// Work that is posted, without any bus.
class Counter : public Worker::ZmbWorker {
 public:
  explicit Counter(std::atomic<int>& count) : count_(count) {}
  ~Counter() override { EndThread(); }
  int Init() override {
    _hasInit = true;
    return 0;
  }
  void Run() override {
    for (WaitWork(); _running; WaitWork()) {
      if (++count_ == 3) break;
    }
  }

 private:
  std::atomic<int>& count_;
};

TEST_F(ServantTest, AWorkerWithoutBusWorksOffItsPosts) {
  std::atomic<int> count{0};
  {
    Counter counter(count);
    counter.PostWork();
    counter.PostWork();
    EXPECT_EQ(counter.Start(), 0);
    EXPECT_EQ(counter.GetZmqCtx(), nullptr);
    counter.PostWork();
    while (count < 3) std::this_thread::yield();
  }
  EXPECT_EQ(count, 3);
}

// --- Servants with two sockets ---

class Broker : public Servant::ZmbMsgBroker {
 public:
  void SetFeUris() override { AddFeIpcLink(); }
  void SetBeUris() override {
    EXPECT_EQ(AddBeIpcLink("Test.One").second, 0);
    EXPECT_EQ(AddBeIpcLink("Test.Two", "/tmp/two.ipc").second, 0);
  }
  void HandleFe(std::unique_ptr<ZmbMessage> msg) override {
    const std::string service =
        msg->GetDescriptorFrame() != nullptr
            ? std::string(static_cast<char*>(msg->GetDescriptorFrame()->Data()),
                          msg->GetDescriptorFrame()->Len())
            : "";
    SendToBe(service, std::move(msg));
  }
  void HandleBe(std::unique_ptr<ZmbMessage> msg) override { SendToFe(std::move(msg)); }
};

TEST_F(ServantTest, ABrokerTakesMessagesToServicesAndBack) {
  Echo one;
  one.SetZid("Test.One");
  const Running running_one(one, Ipc("/tmp/Test.One.ipc"));
  Echo two([](Echo& e) { e.AddFeIpcLink("/tmp/two.ipc"); });
  two.SetZid("Test.Two");
  const Running running_two(two, Ipc("/tmp/two.ipc"));
  Broker broker;
  broker.SetZid("Test.Broker");
  const Running running(broker, Ipc("/tmp/Test.Broker.ipc"));

  Peer client(ZMQ_DEALER, "Test.Client");
  client.Connect(Ipc("/tmp/Test.Broker.ipc"));
  for (const std::string service : {"Test.One", "Test.Two"}) {
    ExpectAnswer(client, {"", service, service}, {"", service, service + "!"});
  }
}

class Proxy : public Servant::ZmbTcpUiProxy {
 public:
  using ZmbTcpUiProxy::ZmbTcpUiProxy;
  bool HandleFe(ZmbMessage* msg) override {
    if (zmb_test::PayloadOf(*msg) != "ping") return false;
    msg->SetPayload("pong", 4);
    return true;
  }
  void HandleBe(ZmbMessage* msg) override { zmb_test::Exclaim(msg); }
};

TEST_F(ServantTest, AProxyJoinsTheTwoEndsOfAnAdapterWithTheBackEnd) {
  Echo echo;
  echo.SetZid("Test.Echo");
  const Running running_echo(echo, Ipc("/tmp/Test.Echo.ipc"));
  Proxy proxy("Test.Echo");
  proxy.SetZid("Test.Proxy");
  ASSERT_EQ(proxy.Init(), 0);
  Peer in(ZMQ_DEALER, "7.i", proxy.GetZmqCtx());
  Peer out(ZMQ_DEALER, "7.o", proxy.GetZmqCtx());
  in.Connect(proxy.GetInUri());
  out.Connect(proxy.GetOutUri());

  std::thread loop([&] { EXPECT_EQ(proxy.Start(), 0); });
  in.Send({"", "d", "ping"});
  EXPECT_EQ(out.Recv(), (Frames{"", "d", "pong"}));
  out.SetTimeout(50);
  Frames reply;
  for (int i = 0; i < 200 && reply.empty(); ++i) {
    in.Send({"", "d", "q"});
    reply = out.Recv();
  }
  EXPECT_EQ(reply, (Frames{"", "d", "q!!"})) << "once by the back end, once by the back handler";
  in.SetTimeout(0);
  EXPECT_EQ(in.Recv(), Frames()) << "nothing comes out at this end";
  proxy.Stop();
  in.Send({"", "ping"});
  loop.join();
}

}  // namespace

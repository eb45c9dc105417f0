// Sockets with their links, and the request-reply client on them.
#include "libs/zmb/src/zmb_socket.h"

#include <gtest/gtest.h>
#include <sys/un.h>

#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using Common::ZmbMessage;
using Common::ZmbSocket;
using zmb_test::Frames;
using zmb_test::Peer;
using Message = std::unique_ptr<ZmbMessage>;

class ZmbSocketTest : public zmb_test::BusTest {
 protected:
  std::unique_ptr<ZmbSocket> MakeSocket(int type, const std::string& id = "") {
    return std::make_unique<ZmbSocket>(context_.get(), type, id.empty() ? nullptr : &id);
  }

  Common::zmb_api::Context context_ = Common::zmb_api::OpenContext();
};

TEST_F(ZmbSocketTest, BindsTheRestAfterAFailure) {
  const auto sock = MakeSocket(ZMQ_ROUTER);
  sock->AddLink(Common::IPC, "/absent/a.ipc");
  sock->AddLink(Common::IPC, "/tmp/b.ipc");
  sock->AddLink(Common::TCP, "127.0.0.1:port");
  EXPECT_EQ(sock->BindLinks(), -1);
  EXPECT_NE(log_.Text().find("3 <panic func=ZmbSocket.BindLinks zmq_bind_err=2/>\n"),
            std::string::npos);
  EXPECT_TRUE(std::filesystem::exists(root_.Path() + "/tmp/b.ipc"))
      << "under the instrument's root";
  std::filesystem::create_directory(root_.Path() + "/absent");
  EXPECT_EQ(sock->BindLinks(), -1) << "the port is still none";
  EXPECT_TRUE(std::filesystem::exists(root_.Path() + "/absent/a.ipc"));
}

TEST_F(ZmbSocketTest, TheFileOfADeadListenerIsNoObstacle) {
  const std::string path = root_.Path() + "/tmp/a.ipc";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un name{AF_UNIX, {}};
  path.copy(name.sun_path, sizeof name.sun_path - 1);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
  close(fd);
  const auto sock = MakeSocket(ZMQ_ROUTER);
  sock->AddLink(Common::IPC, "/tmp/a.ipc");
  EXPECT_EQ(sock->BindLinks(), 0);
}

// --- The request-reply client ---

class ZmbClientTest : public ZmbSocketTest {
 protected:
  ZmbClientTest() {
    server_.Bind(Ipc("/tmp/server.ipc"));
    client_->AddLink(Common::IPC, "/tmp/server.ipc");
    EXPECT_EQ(client_->ConnLinks(), 0);
  }
  /// Asks with a descriptor (none if empty) while `serve` plays the server on another thread.
  template <class Serve>
  Message Ask(std::string descr, int timeout, unsigned attempts, Serve serve) {
    std::thread server(serve);
    const ZmbMessage::Buffer buffer(descr.data(), static_cast<int>(descr.size()));
    const Message request(ZmbMessage::Init(1, descr.empty() ? nullptr : &buffer, true));
    request->SetPayload("q", 1);
    Message reply(ZmbMessage::Send(client_.get(), request.get(), err_, timeout, attempts));
    server.join();
    EXPECT_EQ(zmb_test::PayloadOf(*request), "q") << "the request stays with the caller";
    EXPECT_EQ(err_, reply ? 0 : -1);
    return reply;
  }
  int Logged(const std::string& text) const {
    int count = 0;
    const std::string all = log_.Text();
    for (size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) ++count;
    return count;
  }

  static constexpr int kLong = 10000;
  static constexpr int kShort = 50;
  Peer server_{ZMQ_ROUTER};
  std::unique_ptr<ZmbSocket> client_ = MakeSocket(ZMQ_DEALER, "Test.Client");
  int err_ = 1;
};

TEST_F(ZmbClientTest, TakesTheReplyWithTheDescriptorOfTheRequest) {
  const Message reply = Ask("d2", kLong, 1, [this] {
    EXPECT_EQ(server_.Recv(), (Frames{"Test.Client", "", "d2", "q"}));
    server_.Send({"Test.Client", "", "d1", "late"});
    server_.Send({"Test.Client", "", "none"});
    server_.Send({"Test.Client", "", "d2", "r"});
  });
  ASSERT_TRUE(reply);
  EXPECT_EQ(zmb_test::PayloadOf(*reply), "r");
  EXPECT_EQ(Logged("4 <warn func=ZmbMessage.Send descriptor mismatch />\n"), 2);
  EXPECT_EQ(Logged("zmq_poll=timeout"), 0) << "a stale reply uses no attempt";
}

TEST_F(ZmbClientTest, SendsAgainOnANewSocketOfTheSameIdentity) {
  const Message reply = Ask("d", 300, 3, [this] {
    server_.Recv();  // the first attempt gets no answer
    EXPECT_EQ(server_.Recv(), (Frames{"Test.Client", "", "d", "q"}));
    server_.Send({"Test.Client", "", "d", "r"});
  });
  ASSERT_TRUE(reply);
  EXPECT_GE(Logged("4 <warn func=ZmbMessage.Send zmq_poll=timeout/>\n"), 1);
  EXPECT_GE(Logged("6 closing the named pipe\n"), 1);
}

TEST_F(ZmbClientTest, GivesUpAfterItsAttempts) {
  EXPECT_FALSE(Ask("d", kShort, 2, [] {}));
  EXPECT_EQ(Logged("zmq_poll=timeout"), 2);
  log_.Clear();
  EXPECT_FALSE(Ask("d", kShort, 0, [] {}));
  EXPECT_EQ(Logged("zmq_poll=timeout"), 0);
}

TEST_F(ZmbClientTest, ATerminatedContextEndsTheWait) {
  Common::zmb_api::ShutContext(context_.get());
  EXPECT_FALSE(Ask("d", kLong, 5, [] {}));
  EXPECT_EQ(Logged("4 <warn func=ZmbMessage.Send zmq_poll=-1 errno=156384765/>\n"), 1);
}

}  // namespace

// ethb between a real TCP connection and a ROUTER socket in the place of the measurement daemon.
#include "simulator/ethb.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/msg/records/error_words.h"
#include "common/msg/records/major_codes.h"
#include "platform/real_clock.h"
#include "simulator/listeners.h"
#include "tests/libs/zmb/peer.h"

namespace simulator {
namespace {

constexpr int kPatienceMs = 5000;
constexpr char kAddress[] = "127.0.0.1";

std::string Record(char name, std::int16_t length = 1) {
  std::string record = {'\1', '\2', name, '\0'};
  record += static_cast<char>(length & 0xFF);
  record += static_cast<char>((length >> 8) & 0xFF);
  record.append(static_cast<std::size_t>(length) + 2, name);
  return record;
}

using zmb_test::Frames;

/// The measurement daemon's end of the bus.
class BusPeer : public zmb_test::Peer {
 public:
  BusPeer() : Peer(ZMQ_ROUTER) {
    SetTimeout(kPatienceMs);
    Bind(endpoint_);
  }
  const std::string& Endpoint() const { return endpoint_; }
  bool Waits(int milliseconds) {
    zmq_pollitem_t item{Socket(), 0, ZMQ_POLLIN, 0};
    return zmq_poll(&item, 1, milliseconds) > 0;
  }
  void Reply(Frames frames, const std::string& payload) {
    frames.back() = payload;
    Send(frames);
  }

 private:
  const std::string endpoint_ = zmb_test::TcpAddress(zmb_test::FreePort());
};

class Host {
 public:
  explicit Host(int listener) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    if (::connect(socket_.Get(), reinterpret_cast<sockaddr*>(&address), size) != 0) std::abort();
    const timeval patience{kPatienceMs / 1000, 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  bool Send(std::string_view text) {
    return ::send(socket_.Get(), text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
  }
  std::string Receive(std::size_t size) {
    std::string text(size, '\0');
    const ssize_t count = ::recv(socket_.Get(), text.data(), size, MSG_WAITALL);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
  }
  /// The connection ends without a further byte.
  bool IsClosed() {
    char byte = 0;
    const ssize_t count = ::recv(socket_.Get(), &byte, 1, 0);
    return count == 0 || (count < 0 && errno == ECONNRESET);
  }
  int Get() const { return socket_.Get(); }

 private:
  platform::UniqueFd socket_;
};

class EthbTest : public testing::Test {
 protected:
  EthbTest() {
    platform::UniqueFd listener;
    if (ListenTcp(kAddress, 0, listener) != 0) std::abort();
    listener_ = listener.Get();
    ethb_.emplace(
        Ethb::Setup{
            std::move(listener), bus_.Endpoint(), 3, {}, [this] { return may_pass_.load(); }},
        clock_, units_);
  }
  /// The host that gets the place of the one before, which ethb may still have to miss.
  std::unique_ptr<Host> NextHost() {
    for (const auto end = clock_.Monotonic() + std::chrono::seconds(20);
         clock_.Monotonic() < end;) {
      auto next = std::make_unique<Host>(listener_);
      next->Send(Record('n'));
      while (!bus_.Waits(10)) {
        pollfd entry{next->Get(), POLLIN, 0};
        if (::poll(&entry, 1, 10) != 0) break;  // turned away
      }
      if (!bus_.Waits(0)) continue;
      bus_.Reply(bus_.Recv(), "next");
      return next->Receive(4) == "next" ? std::move(next) : nullptr;
    }
    return nullptr;
  }
  /// One record all the way and back.
  void ExpectService(Host& host) {
    ASSERT_TRUE(host.Send(Record('s')));
    const auto request = bus_.Recv();
    ASSERT_EQ(request.size(), 4U);
    EXPECT_EQ(request.back(), Record('s'));
    bus_.Reply(request, "good");
    EXPECT_EQ(host.Receive(4), "good");
  }

  std::atomic<bool> may_pass_{true};
  platform::RealClock clock_;
  Units units_;
  BusPeer bus_;
  int listener_ = -1;
  std::optional<Ethb> ethb_;
};

TEST_F(EthbTest, CarriesRecordsAndTheirReplies) {
  Host host(listener_);
  const std::string stream = Record('a') + Record('b', 32767) + Record('c', 0);
  ASSERT_TRUE(host.Send(stream.substr(0, 11)));
  ASSERT_TRUE(host.Send(stream.substr(11)));
  std::vector<Frames> requests;
  for (const std::string& record : {Record('a'), Record('b', 32767), Record('c', 0)}) {
    requests.push_back(bus_.Recv());
    ASSERT_EQ(requests.back().size(), 4U);  // identity, delimiter, descriptor, payload
    EXPECT_EQ(requests.back()[1], "");
    EXPECT_EQ(requests.back()[3], record);
  }
  bus_.Reply(requests[0], "first");
  EXPECT_EQ(host.Receive(5), "first");
  // The second is never answered; the third's reply is not held up, and a late one is dropped.
  bus_.Reply(requests[2], "third");
  EXPECT_EQ(host.Receive(5), "third");
  bus_.Reply(requests[1], "late");
  ExpectService(host);
}

TEST_F(EthbTest, ServesOneHostAtATimeAndReportsThatToASecond) {
  Host host(listener_);
  ExpectService(host);
  {
    Host second(listener_);
    Host silent(listener_);
    ASSERT_TRUE(second.Send(Record('b') + Record('c')));
    const std::string nak = second.Receive(139);
    ASSERT_EQ(nak.size(), 139U);
    EXPECT_EQ(nak.substr(0, 11),
              std::string("\1\2\x9E\xFF\x83\0\x15\2\0\1\0", 11));  // -'b', 131 bytes
    EXPECT_EQ(nak[11], Msg::NAK_MCODE_NOSPACE);
    EXPECT_TRUE(second.IsClosed());
    EXPECT_TRUE(silent.IsClosed());
  }
  ExpectService(host);
}

// Also when that never comes: a host must not wait for ever.
TEST_F(EthbTest, HoldsARecordUntilTheSourceModuleHasActed) {
  Host host(listener_);
  ExpectService(host);
  for (const bool acts : {true, false}) {
    may_pass_ = false;
    ASSERT_TRUE(host.Send(Record('a') + Record('b')));
    EXPECT_FALSE(bus_.Waits(200));
    may_pass_ = acts;
    for (const char name : {'a', 'b'}) {
      const auto request = bus_.Recv();
      ASSERT_EQ(request.size(), 4U);
      EXPECT_EQ(request.back(), Record(name));
      may_pass_ = true;
      bus_.Reply(request, "good");
      EXPECT_EQ(host.Receive(4), "good");
    }
  }
}

TEST_F(EthbTest, ForgetsTheRepliesOfAHostThatLeft) {
  Frames request;
  {
    Host host(listener_);
    ASSERT_TRUE(host.Send(Record('x')));
    request = bus_.Recv();
    ASSERT_EQ(request.size(), 4U);
  }
  const auto next = NextHost();
  ASSERT_NE(next, nullptr);
  bus_.Reply(request, "old!");
  ExpectService(*next);
}

TEST_F(EthbTest, BrokenStreamIsAnsweredThenClosed) {
  Host host(listener_);
  ASSERT_TRUE(host.Send(Record('a') + std::string("\1\2\3\0\xFF\xFF more", 11)));
  const auto good = bus_.Recv();
  const auto bad = bus_.Recv();
  ASSERT_EQ(bad.size(), 4U);
  EXPECT_EQ(bad[3], std::string("\1\2\3\0\xFF\xFF\0\0", 8));
  bus_.Reply(good, "good");
  bus_.Reply(bad, "nak!");
  EXPECT_EQ(host.Receive(8), "goodnak!");
  EXPECT_TRUE(host.IsClosed());
}

}  // namespace
}  // namespace simulator

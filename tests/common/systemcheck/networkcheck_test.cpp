// The three sides of the network check, over UDP on loopback.
#include "common/systemcheck/networkcheck.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "common/msg/records/module_id.h"
#include "tests/common/zpubsub/module_net.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(40);

class NetworkCheck : public testing::Test {
 protected:
  std::unique_ptr<networkcheck> Module(int id, networkcheck::Links links = {}) {
    const int host = id == Msg::MAIN_MODULE ? 51 : id == Msg::MEAS_MODULE ? 52 : 53;
    machine.instrument.own = test::NetAddress(host);
    auto module = std::make_unique<networkcheck>(std::move(links));
    EXPECT_EQ(module->Init(id, test::NetAddress(52).c_str(), test::NetAddress(53).c_str(),
                           Msg::kNetworkCheckPort),
              0);
    module->SetEthHeartbeatFrequency(1);
    return module;
  }
  std::unique_ptr<networkcheck> Started(int id) {
    auto module = Module(id);
    EXPECT_EQ(module->Start(), 0);
    return module;
  }
  template <class Done>
  static bool Within(Done done) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!done() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
  }

  platform::MachineInPlace<test::ModuleNet> machine;
};

TEST_F(NetworkCheck, TheModulesFindOneAnotherAndALongAbsenceIsAnError) {
  std::mutex mutex;
  std::vector<std::string> shown;
  std::atomic<int> error = 0;
  auto meas = Started(Msg::MEAS_MODULE);
  auto main = Module(Msg::MAIN_MODULE, {.display =
                                            [&](const char* text, int line) {
                                              const std::lock_guard lock(mutex);
                                              EXPECT_EQ(line, 1);
                                              shown.emplace_back(text);
                                            },
                                        .sticky_error = [&](int code) { error = code; }});
  const auto shows = [&](const char* text) {
    const std::lock_guard lock(mutex);
    return !shown.empty() && shown.back() == text;
  };
  ASSERT_EQ(main->Start(), 0);
  EXPECT_TRUE(Within([&] { return main->IsMOSAlive() && shows("No connect 3"); }));
  EXPECT_EQ(meas->GetMainIP(), test::NetAddress(51));
  EXPECT_FALSE(meas->IsSOSAlive());

  auto source = Started(Msg::SOURCE_MODULE);
  EXPECT_TRUE(Within([&] { return main->CheckOtherBoards() && shows(""); }));
  EXPECT_TRUE(Within([&] { return meas->IsSOSAlive() && source->IsMOSAlive(); }));
  EXPECT_EQ(meas->GetSourceIP(), test::NetAddress(53));
  EXPECT_EQ(source->GetMeasIP(), test::NetAddress(52));

  for (const int seconds : {40, 41}) {
    source.reset();
    EXPECT_TRUE(Within([&] { return !main->IsSOSAlive() && shows("No connect 3"); }));
    machine.clock.Advance(std::chrono::seconds(seconds));
    source = Started(Msg::SOURCE_MODULE);
    EXPECT_TRUE(Within([&] { return main->CheckOtherBoards() && shows(""); }));
    EXPECT_EQ(error, seconds == 41 ? 1285 : 0);
  }
}

TEST_F(NetworkCheck, AnswersWholeRequestsOnly) {
  auto meas = Started(Msg::MEAS_MODULE);
  const platform::UniqueFd peer(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto at = [](int host) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(Msg::kNetworkCheckPort);
    ::inet_pton(AF_INET, test::NetAddress(host).c_str(), &address.sin_addr);
    return address;
  };
  const sockaddr_in own = at(51);
  const sockaddr_in to = at(52);
  const timeval patience{.tv_sec = 20, .tv_usec = 0};
  ::setsockopt(peer.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  ASSERT_EQ(::bind(peer.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
  const auto send = [&](const void* data, std::size_t size) {
    ::sendto(peer.Get(), data, size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  };
  Msg::pktinfo_t packet{};
  packet.pkttype = Msg::BOARD_REQUEST;
  packet.boardIP = own.sin_addr.s_addr;
  std::array<std::uint8_t, 600> large{};
  for (const std::size_t size : {0, 39, 41, 600}) send(large.data(), size);
  send(&packet, 39);
  Msg::pktinfo_t status = packet;
  status.pkttype = Msg::SOS_STATUS;
  status.boardIP = at(53).sin_addr.s_addr;
  send(&status, sizeof status);
  packet.seqno = 7;
  send(&packet, sizeof packet);
  Msg::pktinfo_t ack{};
  ASSERT_EQ(::recv(peer.Get(), &ack, sizeof ack, 0), 40);
  EXPECT_EQ(ack.pkttype, 257);
  EXPECT_EQ(ack.seqno, 7U);  // the first and only one
  EXPECT_EQ(ack.boardtype, 1);
  EXPECT_EQ(ack.boardIP, to.sin_addr.s_addr);
  EXPECT_TRUE(meas->IsSOSAlive());
  status.status = Msg::SOS_NOT_ALIVE;
  send(&status, sizeof status);
  EXPECT_TRUE(Within([&] { return !meas->IsSOSAlive(); }));
}

}  // namespace

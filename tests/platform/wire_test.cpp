#include "platform/wire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace platform::wire {
namespace {

class WireTest : public testing::Test {
 protected:
  WireTest() {
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) != 0) std::abort();
    near_.Reset(pair[0]);
    far_.Reset(pair[1]);
  }
  UniqueFd near_;
  UniqueFd far_;
};

TEST_F(WireTest, RefusesWhatIsNoPacket) {
  Header wrong_version{.version = 9};
  Header wrong_size{.size = 1};
  const std::span<const std::byte> cases[] = {AsData(std::string_view("x")), AsData(wrong_version),
                                              AsData(wrong_size)};
  Packet packet;
  for (const auto bytes : cases) {
    ASSERT_EQ(::send(near_.Get(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(Receive(far_.Get(), packet), EPROTO);
  }
  const std::vector<char> too_long(kMaxPacket + 1);
  ASSERT_GT(::send(near_.Get(), too_long.data(), too_long.size(), 0), 0);
  EXPECT_EQ(Receive(far_.Get(), packet), EPROTO);
  EXPECT_EQ(Send(near_.Get(), {}, std::as_bytes(std::span(too_long))), EMSGSIZE);
  ASSERT_EQ(Send(near_.Get(), {}, {}), 0);
  EXPECT_EQ(Receive(far_.Get(), packet), 0);  // the bounds of the next packet are intact
}

TEST_F(WireTest, SaysWhyNothingCame) {
  Packet packet;
  EXPECT_EQ(Receive(far_.Get(), packet, std::chrono::milliseconds(5)), ETIMEDOUT);
  near_.Reset();
  EXPECT_EQ(Receive(far_.Get(), packet), EPIPE);
  EXPECT_EQ(Send(far_.Get(), {}, {}), EPIPE);
  UniqueFd socket;
  EXPECT_EQ(Connect("/nonexistent/q5sim.sock", std::chrono::seconds(1), socket), ENOENT);
  EXPECT_EQ(Connect(std::string(200, 'x').c_str(), std::chrono::seconds(1), socket), ENAMETOOLONG);
}

}  // namespace
}  // namespace platform::wire

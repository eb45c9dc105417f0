// The guard at the bus's connections, fed with what peers of every version of the transport send.
#include "libs/zmb/src/zmb_guard.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "libs/zmb/src/zmb_limits.h"
#include "platform/unique_fd.h"
#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using namespace std::string_literals;
using Common::ZmbGuard;
using Common::ZmbStreamWatch;

constexpr std::uint32_t kOwn = 0xC0A82A34;    // 192.168.42.52
constexpr std::uint32_t kHost = 0xC0A82A33;   // 192.168.42.51
constexpr std::uint32_t kOther = 0xC0A82A35;  // 192.168.42.53
constexpr std::uint32_t kLoopback = 0x7F000001;
constexpr std::uint32_t kStranger = 0xC0A82B33;  // 192.168.43.51

std::span<const std::uint8_t> Bytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string Times(int count, const std::string& part) {
  std::string whole;
  for (int i = 0; i < count; ++i) whole += part;
  return whole;
}

// Greetings, each with what names the peer "Host".
const std::string kOne = "\x05\0Host"s;
const std::string kTwo = "\xFF\0\0\0\0\0\0\0\x01\x7F\x01\x05\0\x04Host"s;
const std::string kThree = "\xFF\0\0\0\0\0\0\0\x01\x7F\x03\0NULL"s + std::string(48, '\0') +
                           "\x04\x2D\x05READY\x0BSocket-Type\0\0\0\x06"s +
                           "DEALER\x08Identity\0\0\0\x04Host"s;

class ZmbGuardTest : public testing::Test {
 protected:
  bool Admits(std::uint32_t peer) {
    return guard_.Admit(++fd_, {peer, peer == 0 ? 0 : kOwn}, kListener);
  }
  int AdmitAll(std::uint32_t peer) {
    int admitted = 0;
    while (Admits(peer)) ++admitted;
    return admitted;
  }
  /// How many of 100 peers get a place that come one after the other, say `greeting` and go.
  int ComeAndGo(const std::string& greeting) {
    int admitted = 0;
    for (int i = 0; i < 100; ++i) {
      if (!Admits(kHost)) continue;
      ++admitted;
      Takes(fd_, greeting);
      guard_.Closed(fd_);
    }
    return admitted;
  }
  bool Takes(int fd, const std::string& text) { return guard_.Received(fd, Bytes(text)); }
  int Logged(const std::string& reason) const {
    int lines = 0;
    const std::string text = log_.Text();
    for (auto at = text.find(reason); at != std::string::npos; at = text.find(reason, at + 1)) {
      ++lines;
    }
    return lines;
  }

  static ZmbGuard::Time Now() { return now_; }

  static constexpr int kListener = 99;
  static inline ZmbGuard::Time now_;
  ZmbGuard guard_{&Now};
  int fd_ = 100;  // numbers that no file of this process has
  zmb_test::LogLines log_;
};

TEST_F(ZmbGuardTest, AdmitsSoManyOfEachAddressAndOfTheNetwork) {
  EXPECT_FALSE(Admits(kStranger));
  EXPECT_EQ(AdmitAll(kHost), 32);
  guard_.Closed(fd_ - 1);
  EXPECT_EQ(AdmitAll(kHost), 1) << "in the place of one that has gone";
  EXPECT_EQ(AdmitAll(kOther), 32);
  EXPECT_EQ(AdmitAll(kLoopback), 32);
  EXPECT_EQ(AdmitAll(kOther + 1), 24) << "its share of what three others have taken";
  EXPECT_EQ(AdmitAll(0), 32) << "this module's own programs are not";
  EXPECT_EQ(Logged("reason=\"too many connections of one address\""), 1);
  EXPECT_EQ(Logged("reason=\"too many connections\""), 1);
  EXPECT_EQ(Logged("peer=192.168.43.51"), 1);
}

TEST_F(ZmbGuardTest, LeavesDescriptorsToTheRestOfTheProcess) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const int first_spare = static_cast<int>(limit.rlim_cur) - Common::limits::kSpareDescriptors;
  EXPECT_TRUE(guard_.Admit(first_spare - 1, ZmbGuard::Ends{}));
  EXPECT_FALSE(guard_.Admit(first_spare, ZmbGuard::Ends{}));
}

TEST_F(ZmbGuardTest, AnIdentityBelongsToItsAddress) {
  guard_.Admit(3, {kHost, kOwn});
  guard_.Admit(4, {kOther, kOwn});
  guard_.Admit(5, {kHost, kOwn});
  EXPECT_TRUE(Takes(3, kThree));
  EXPECT_FALSE(Takes(4, kThree));
  EXPECT_TRUE(Takes(5, kThree)) << "the host comes back while its old connection is open";
  guard_.Closed(3);
  guard_.Closed(5);
  guard_.Closed(4);
  guard_.Admit(4, {kOther, kOwn});
  EXPECT_TRUE(Takes(4, kThree)) << "nobody has it any more";
  guard_.Admit(6, {kOther, kOwn});
  EXPECT_FALSE(Takes(6, "\x06\0\0Host"s)) << "the transport makes such names itself";
}

TEST_F(ZmbGuardTest, AHandshakeWithoutEndGivesItsPlaceUp) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const platform::UniqueFd own(ends[0]), peer(ends[1]);
  EXPECT_TRUE(guard_.Admit(own.Get(), {kHost, kOwn}));
  for (const std::string& greeting : {kOne, kTwo, kThree}) {
    EXPECT_TRUE(Admits(kHost));
    EXPECT_TRUE(Takes(fd_, greeting));
  }
  EXPECT_EQ(AdmitAll(kHost), 28);
  EXPECT_TRUE(Takes(own.Get(), kThree.substr(0, 64)));
  now_ += std::chrono::milliseconds(Common::limits::kHandshakeMs - 1);
  EXPECT_FALSE(Admits(kHost));
  now_ += std::chrono::milliseconds(1);
  EXPECT_EQ(AdmitAll(kHost), 29) << "beside the three that introduced themselves";
  char byte;
  EXPECT_EQ(::recv(peer.Get(), &byte, 1, MSG_DONTWAIT), 0) << "its connection is shut down";
  EXPECT_FALSE(Takes(own.Get(), kThree.substr(64))) << "what had come before that";
  EXPECT_EQ(Logged("reason=\"handshake too slow\""), 1);
}

TEST_F(ZmbGuardTest, APlaceIsTakenUntilNothingOfItsConnectionIsLeft) {
  const int sockets[2] = {};
  const auto *socket = &sockets[0], *other = &sockets[1];
  EXPECT_EQ(ComeAndGo(kThree), 100) << "of a socket of which nothing is known";
  guard_.Listens(kListener + 1, other);
  guard_.Listens(kListener, socket);
  EXPECT_EQ(ComeAndGo(kThree.substr(0, 63)), 100) << "without a greeting nothing is kept";
  for (const std::string& greeting : {kOne.substr(0, 1), kTwo.substr(0, 12), kThree}) {
    EXPECT_EQ(ComeAndGo(greeting), 32);
    guard_.BeginsToWait(other);
    EXPECT_EQ(ComeAndGo(greeting), 0) << "not the thread that has to read it";
    guard_.FoundEmpty(socket);
  }
  EXPECT_EQ(ComeAndGo(kThree), 32);
  for (int i = 1; i < Common::limits::kReadsUntilGone; ++i) guard_.HasRead(socket);
  EXPECT_EQ(ComeAndGo(kThree), 0);
  guard_.HasRead(socket);
  EXPECT_EQ(ComeAndGo(kThree), 32) << "each has had its turns";
  guard_.BeginsToWait(socket);
  EXPECT_EQ(ComeAndGo(kThree), 100);
  guard_.EndsToWait(socket);
  EXPECT_EQ(ComeAndGo(kThree), 32);
  guard_.SocketClosed(socket);
  EXPECT_EQ(ComeAndGo(kThree), 100);
}

TEST_F(ZmbGuardTest, WhoIsIdleLongestMakesRoomForOneThatFindsNoPlace) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const platform::UniqueFd own(ends[0]), peer(ends[1]);
  const int socket = 0;
  guard_.Listens(kListener, &socket);
  const std::string nameless = kTwo.substr(0, 12) + "\0\0"s;
  const auto admits_greeted = [&](std::uint32_t from) {
    return Admits(from) && Takes(fd_, nameless);
  };
  for (const std::uint32_t address : {kHost, kOther, kLoopback}) {
    for (int i = 0; i < 31; ++i) EXPECT_TRUE(admits_greeted(address));
  }
  EXPECT_TRUE(guard_.Admit(own.Get(), {kHost, kOwn}, kListener));
  EXPECT_TRUE(Takes(own.Get(), nameless));
  now_ += std::chrono::milliseconds(1);
  for (int fd = 101; fd <= fd_; ++fd) EXPECT_TRUE(Takes(fd, "\0\0"s));
  for (const std::uint32_t address : {kOther, kLoopback}) EXPECT_TRUE(admits_greeted(address));
  now_ += std::chrono::milliseconds(Common::limits::kIdleMs - 2);
  EXPECT_FALSE(Admits(kHost));
  now_ += std::chrono::milliseconds(1);
  EXPECT_FALSE(Admits(kOther)) << "the idle one is not of this address";
  EXPECT_FALSE(Admits(kHost)) << "its question may still wait to be read";
  guard_.BeginsToWait(&socket);
  EXPECT_FALSE(Admits(0) && Admits(kOther)) << "the module's own have their places";
  EXPECT_TRUE(Admits(kOther + 1)) << "the network was full";
  char byte;
  EXPECT_EQ(::recv(peer.Get(), &byte, 1, MSG_DONTWAIT), 0);
  EXPECT_FALSE(Takes(own.Get(), "\0\0"s));
  EXPECT_EQ(Logged("peer=192.168.42.51 connections=98 reason=\"idle"), 1);
}

TEST(ZmbStreamWatch, FollowsEveryVersion) {
  const struct {
    const char* name;
    std::string greeting;
    std::string more, last, huge, wide, command;  // frames of the version
  } versions[] = {
      {"1", kOne, "\x02\x01x"s, "\x02\0x"s, "\xFF\0\0\0\0\0\x01\0\x02\0"s,
       "\xFF\0\0\0\0\0\0\x08\x02\x01"s + std::string(0x801, 'd'), ""},
      {"2", kTwo, "\x01\x01x"s, "\0\x01x"s, "\x02\0\0\0\0\0\x01\0\x01"s,
       "\x03\0\0\0\0\0\0\x08\x01"s + std::string(0x801, 'd'), ""},
      {"3", kThree, "\x01\x01x"s, "\0\x01x"s, "\x02\x80\0\0\0\0\0\0\0"s,
       "\x03\0\0\0\0\0\0\x08\x01"s + std::string(0x801, 'd'), "\x04\x07\x04PING\0\0"s},
  };
  for (const auto& v : versions) {
    const std::string message = Times(15, v.more) + v.last + v.command;
    const struct {
      const char* name;
      std::string stream;
      std::string wrong;
    } cases[] = {
        {"messages", Times(5, message), ""},
        {"16 frames before the last", message + v.more + message, "envelope too long"},
        {"a huge frame", message + v.huge, "frame too long"},
        {"a wide envelope", message + v.wide, "envelope too long"},
    };
    for (const auto& c : cases) {
      for (const std::size_t part : {std::size_t{1}, std::size_t{7}, std::size_t{1} << 20}) {
        SCOPED_TRACE(std::string(v.name) + ": " + c.name + " in parts of " + std::to_string(part));
        const std::string stream = v.greeting + c.stream;
        ZmbStreamWatch watch;
        const char* wrong = nullptr;
        for (std::size_t at = 0; at < stream.size() && wrong == nullptr; at += part) {
          wrong = watch.Take(Bytes(stream).subspan(at, std::min(part, stream.size() - at)));
        }
        EXPECT_EQ(wrong == nullptr ? "" : wrong, c.wrong);
        EXPECT_EQ(watch.Identity(), "Host");
      }
    }
    ZmbStreamWatch early;
    EXPECT_EQ(early.Take(Bytes(v.greeting).first(v.greeting.size() - 1)), nullptr);
    EXPECT_FALSE(early.Identity()) << v.name;
  }
}

TEST(ZmbStreamWatch, RefusesWhatTheTransportTakesForSomethingElse) {
  const std::string two = kTwo.substr(0, 12);
  const struct {
    const char* name;
    std::string stream;
    const char* wrong;
  } cases[] = {
      {"version 1: more of an introduction", "\x05\x01Host"s, "introduction out of place"},
      {"version 2: more of an introduction", two + "\x01\x04Host"s, "introduction out of place"},
      {"version 2: a command before it", two + "\x04\x04None"s, "introduction out of place"},
      {"version 2: a command in a message", kTwo + "\x01\x01x\x04\0"s, "command out of place"},
      {"version 3: a command of no use", kThree + "\x04\x0A\x09SUBSCRIBE"s, "command out of place"},
      {"version 3: a PING without its time", kThree + "\x04\x06\x04PING\0"s,
       "command out of place"},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(ZmbStreamWatch().Take(Bytes(c.stream)), c.wrong) << c.name;
  }
  EXPECT_EQ(ZmbStreamWatch(true).Take(Bytes(kThree + "\x04\x0A\x09SUBSCRIBE"s)), nullptr);
}

}  // namespace

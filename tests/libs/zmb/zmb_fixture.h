// What the tests of the bus share: an instrument root of their own, the log's lines, and peers that
// speak plain libzmq, so that the bus is not tested against itself.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_message.h"
#include "tests/platform/bare_machine.h"

namespace zmb_test {

using Frames = std::vector<std::string>;

/// Collects the bus's lines, "LEVEL text", from every thread.
class LogLines {
 public:
  LogLines() {
    Clear();
    Common::zmb_log.Connect(&LogLines::Write);
  }
  ~LogLines() { Common::zmb_log.Connect(nullptr); }

  static std::string Text() {
    const std::lock_guard lock(mutex_);
    return text_;
  }
  static void Clear() {
    const std::lock_guard lock(mutex_);
    text_.clear();
  }

 private:
  [[gnu::format(printf, 2, 0)]] static void Write(int level, const char* format,
                                                  std::va_list args) {
    char line[1024];
    vsnprintf(line, sizeof line, format, args);
    const std::lock_guard lock(mutex_);
    text_ += std::to_string(level) + " " + line;
  }

  static inline std::mutex mutex_;
  static inline std::string text_;
};

class BusTest : public testing::Test {
 protected:
  /// The address at which plain libzmq finds an ipc path of the instrument.
  std::string Ipc(const std::string& path) const { return "ipc://" + root_.Path() + path; }

  BusTest() { std::filesystem::create_directory(root_ / "tmp"); }

  platform::MachineInPlace<> machine_;
  const platform::TemporaryRoot& root_ = machine_.root;
  LogLines log_;
};

/// A libzmq socket with a context of its own, or in another's.
class Peer {
 public:
  explicit Peer(int type, const std::string& id = "", void* context = nullptr)
      : own_(context == nullptr ? zmq_ctx_new() : nullptr),
        sock_(zmq_socket(context == nullptr ? own_ : context, type)) {
    const int linger = 0;
    zmq_setsockopt(sock_, ZMQ_LINGER, &linger, sizeof linger);
    SetTimeout(10000);
    if (!id.empty()) zmq_setsockopt(sock_, ZMQ_ROUTING_ID, id.data(), id.size());
  }
  ~Peer() {
    zmq_close(sock_);
    if (own_ != nullptr) zmq_ctx_term(own_);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void SetTimeout(int milliseconds) {
    zmq_setsockopt(sock_, ZMQ_RCVTIMEO, &milliseconds, sizeof milliseconds);
  }
  Peer& Connect(const std::string& address) {
    EXPECT_EQ(zmq_connect(sock_, address.c_str()), 0) << address;
    return *this;
  }
  Peer& Bind(const std::string& address) {
    EXPECT_EQ(zmq_bind(sock_, address.c_str()), 0) << address << " " << zmq_strerror(errno);
    return *this;
  }
  Peer& Send(const Frames& frames) {
    for (size_t i = 0; i < frames.size(); ++i) {
      zmq_send(sock_, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
    }
    return *this;
  }
  /// Empty when nothing comes in time.
  Frames Recv() {
    Frames frames;
    bool more = true;
    while (more) {
      zmq_msg_t msg;
      zmq_msg_init(&msg);
      if (zmq_msg_recv(&msg, sock_, 0) < 0) return frames;
      frames.emplace_back(static_cast<char*>(zmq_msg_data(&msg)), zmq_msg_size(&msg));
      more = zmq_msg_more(&msg) != 0;
      zmq_msg_close(&msg);
    }
    return frames;
  }
  void* Socket() const { return sock_; }

 private:
  void* own_;
  void* sock_;
};

/// A port of 127.0.0.1 that is free now.
inline short FreePort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof name;
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&name), size), 0);
  getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size);
  close(fd);
  return static_cast<short>(ntohs(name.sin_port));
}

inline std::string TcpAddress(short port) {
  return "tcp://127.0.0.1:" + std::to_string(static_cast<unsigned short>(port));
}

inline std::string PayloadOf(const Common::ZmbMessage& msg) {
  const auto [data, len] = msg.GetPayload();
  return {static_cast<const char*>(data), static_cast<size_t>(len)};
}

/// A handler that all kinds of servers share: answers with the payload and an exclamation mark.
inline void Exclaim(Common::ZmbMessage* msg) {
  const std::string reply = PayloadOf(*msg) + "!";
  msg->SetPayload(reply.data(), static_cast<int>(reply.size()));
}

}  // namespace zmb_test

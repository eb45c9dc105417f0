// Peers that speak plain libzmq, so that the bus is not tested against itself.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <cerrno>
#include <string>
#include <vector>

namespace zmb_test {

using Frames = std::vector<std::string>;

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

}  // namespace zmb_test

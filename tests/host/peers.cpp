#include "tests/host/peers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace test {
namespace {

bool ReadExactly(int fd, Bytes& bytes, std::size_t size) {
  std::size_t got = bytes.size();
  bytes.resize(size);
  while (got < size) {
    ssize_t n = ::recv(fd, bytes.data() + got, size - got, 0);
    if (n <= 0) return false;
    got += static_cast<std::size_t>(n);
  }
  return true;
}

sockaddr_in AddressOf(const std::string& text, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  ::inet_pton(AF_INET, text.c_str(), &address.sin_addr);
  return address;
}

}  // namespace

RouterPeer::RouterPeer(const std::string& uri, Script script)
    : context_(zmq_ctx_new()), socket_(std::in_place, ZMQ_ROUTER, "", context_) {
  socket_->SetTimeout(-1);
  socket_->Bind(uri);
  char bound[256];
  std::size_t size = sizeof bound;
  zmq_getsockopt(socket_->Socket(), ZMQ_LAST_ENDPOINT, bound, &size);
  uri_ = bound;
  thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
}

RouterPeer::~RouterPeer() {
  zmq_ctx_shutdown(context_);
  thread_.join();
  socket_.reset();
  zmq_ctx_term(context_);
}

void RouterPeer::Serve(const Script& script) {
  for (zmb_test::Frames frames; !(frames = socket_->Recv()).empty();) {
    const Bytes request(frames.back().begin(), frames.back().end());
    for (const Bytes& reply : script(request)) {
      frames.back().assign(reply.begin(), reply.end());
      socket_->Send(frames);
    }
  }
}

TcpPeer::TcpPeer(const std::string& address, int port, Script script)
    : address_(address), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in bound = AddressOf(address, port);
  socklen_t size = sizeof bound;
  const int on = 1;
  ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&bound), size) != 0 ||
      ::listen(listener_, 8) != 0) {
    throw std::runtime_error("cannot listen at " + address);
  }
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&bound), &size);
  port_ = ntohs(bound.sin_port);
  thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
}

TcpPeer::~TcpPeer() {
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
  ::close(listener_);
}

std::string TcpPeer::uri() const { return "host://" + address_ + ":" + std::to_string(port_); }

void TcpPeer::Serve(const Script& script) {
  for (int connection; (connection = ::accept(listener_, nullptr, nullptr)) >= 0;) {
    Converse(connection, script);
    ::close(connection);
  }
}

void TcpPeer::Converse(int connection, const Script& script) {
  for (;;) {
    Bytes request;
    if (!ReadExactly(connection, request, 6)) return;
    std::size_t len = request[4] | static_cast<std::size_t>(request[5]) << 8;
    if (!ReadExactly(connection, request, len + 8)) return;
    for (const Bytes& reply : script(request)) {
      if (reply.empty()) return;
      ::send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
  }
}

}  // namespace test

// The host's TCP connection as a transport of records.
#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "common/msg/records/hmp_msg_head.h"
#include "host/transport.h"
#include "platform/unique_fd.h"

namespace host {
namespace {

using SteadyClock = std::chrono::steady_clock;

struct AddressListFree {
  void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListFree>;

class StreamTransport : public Transport {
 public:
  StreamTransport(std::string address, int timeout_ms)
      : address_(std::move(address)), timeout_ms_(timeout_ms) {}

  Exchange Ask(const Bytes& request) override {
    deadline_ = SteadyClock::now() + std::chrono::milliseconds(timeout_ms_);
    Exchange exchange;
    // the main module may have been restarted since the last exchange
    if (socket_ && IsOver()) socket_.Reset();
    may_be_second_ = !socket_ && IsWhole(request);
    if (socket_ || Connect(exchange.error)) Converse(request, exchange);
    // What still comes on this connection would be taken for the reply to the next request.
    if (exchange.status != ExitStatus::kOk) socket_.Reset();
    return exchange;
  }

 private:
  static bool IsWhole(const Bytes& request) {
    if (request.size() < Msg::kFrameOverhead) return false;
    const auto* head = reinterpret_cast<const Msg::HmpMsgHead*>(request.data());
    return head->len >= 0 && static_cast<std::size_t>(head->GetSize()) == request.size();
  }

  void Converse(const Bytes& request, Exchange& exchange) {
    if (!SendAll(request, exchange)) return;
    if (!Receive(Msg::kHeadSize, exchange)) return;
    const auto* head = reinterpret_cast<const Msg::HmpMsgHead*>(exchange.reply.data());
    if (head->len < 0) {
      exchange.status = ExitStatus::kMalformed;
      exchange.error = fmt::format("malformed reply: len is {}", int{head->len});
      return;
    }
    if (Receive(static_cast<std::size_t>(head->GetSize()), exchange)) {
      exchange.status = ExitStatus::kOk;
    }
  }

  bool Connect(std::string& error) {
    std::size_t colon = address_.rfind(':');
    std::string host = address_.substr(0, colon);
    std::string port = address_.substr(colon + 1);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    int code = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    AddressList list(found);
    if (code != 0) {
      error = fmt::format("cannot connect to {}: {}", address_, ::gai_strerror(code));
      return false;
    }
    if (int failure = ConnectTo(*list); failure != 0) {
      error = fmt::format("cannot connect to {}: {}", address_, std::strerror(failure));
      return false;
    }
    return true;
  }

  // 0 or an errno.
  int ConnectTo(const addrinfo& address) {
    socket_.Reset(::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket_) return errno;
    const int on = 1;  // a record is small and its reply is waited for
    ::setsockopt(socket_.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(socket_.Get(), address.ai_addr, address.ai_addrlen) == 0) return 0;
    if (errno != EINPROGRESS) return errno;
    if (!WaitFor(POLLOUT)) return ETIMEDOUT;
    int failure = 0;
    socklen_t size = sizeof failure;
    ::getsockopt(socket_.Get(), SOL_SOCKET, SO_ERROR, &failure, &size);
    return failure;
  }

  // False at the end of the time.
  bool WaitFor(short events) {
    for (;;) {
      auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - SteadyClock::now());
      pollfd item{socket_.Get(), events, 0};
      int ready = ::poll(&item, 1, static_cast<int>(std::max<long>(left.count(), 0)));
      if (ready > 0) return true;
      if (ready == 0 || errno != EINTR) return false;
    }
  }

  static bool MustWait() { return errno == EAGAIN || errno == EINTR; }

  // True when the peer has closed the connection, or has sent what nobody waits for.
  bool IsOver() const {
    char byte = 0;
    return ::recv(socket_.Get(), &byte, 1, MSG_PEEK) >= 0 || !MustWait();
  }

  bool SendAll(const Bytes& bytes, Exchange& exchange) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      ssize_t n = ::send(socket_.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n > 0) {
        sent += static_cast<std::size_t>(n);
      } else if (!MustWait()) {
        Broken(std::strerror(errno), 0, exchange);
        return false;
      } else if (!WaitFor(POLLOUT)) {
        exchange.error = fmt::format("cannot send to {} within {} ms", address_, timeout_ms_);
        return false;
      }
    }
    return true;
  }

  // Reads until the reply has `size` bytes; never more, for what follows is another record's.
  bool Receive(std::size_t size, Exchange& exchange) {
    Bytes& reply = exchange.reply;
    std::size_t got = reply.size();
    reply.resize(size);
    while (got < size) {
      ssize_t n = ::recv(socket_.Get(), reply.data() + got, size - got, 0);
      if (n > 0) {
        got += static_cast<std::size_t>(n);
      } else if (n == 0 || !MustWait()) {
        Broken(n == 0 ? "closed by the peer" : std::strerror(errno), got, exchange);
        return false;
      } else if (!WaitFor(POLLIN)) {
        exchange.error = fmt::format("no {}answer from {} within {} ms", got > 0 ? "whole " : "",
                                     address_, timeout_ms_);
        return false;
      }
    }
    return true;
  }

  void Broken(const char* why, std::size_t got, Exchange& exchange) {
    if (got == 0 && may_be_second_) {
      exchange.status = ExitStatus::kOtherHost;
      exchange.error =
          fmt::format("another host is connected: {} closed this connection at once", address_);
      return;
    }
    if (got == 0) {
      exchange.error = fmt::format("no answer from {}: connection {}", address_, why);
      return;
    }
    exchange.status = ExitStatus::kMalformed;
    exchange.error = fmt::format("malformed reply: {} bytes, then the connection {}", got, why);
  }

  const std::string address_;
  const int timeout_ms_;
  SteadyClock::time_point deadline_;
  platform::UniqueFd socket_;
  // The connection is made for the exchange at hand, and the record is none for which the main
  // module would end it.
  bool may_be_second_ = false;
};

}  // namespace

std::unique_ptr<Transport> MakeStreamTransport(const std::string& address, int timeout_ms) {
  return std::make_unique<StreamTransport>(address, timeout_ms);
}

}  // namespace host

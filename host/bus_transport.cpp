// The message bus as a transport of host records.
#include <fmt/format.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "host/transport.h"
#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_socket.h"

namespace host {
namespace {

using Common::ZmbMessage;
using Common::ZmbSocket;

using SteadyClock = std::chrono::steady_clock;

constexpr char kMonitor[] = "inproc://q5host.monitor";

class BusTransport : public Transport {
 public:
  BusTransport(std::string uri, int timeout_ms) : uri_(std::move(uri)), timeout_ms_(timeout_ms) {}

  Exchange Ask(const Bytes& request) override {
    Exchange exchange;
    if (!Connect(exchange.error)) return exchange;
    // A descriptor of its own separates each reply from those to earlier requests.
    std::string name = fmt::format("q5host.{}.{}", ::getpid(), ++asked_);
    ZmbMessage::Buffer descriptor{name.data(), static_cast<int>(name.size())};
    int size = static_cast<int>(request.size());
    std::unique_ptr<ZmbMessage> message(ZmbMessage::Init(size, &descriptor, true));
    message->SetPayload(request.data(), size, 0);

    std::unique_ptr<ZmbMessage> reply = SendAndWait(*message, exchange.error);
    if (!reply) {
      // what still comes on this socket would be a late reply
      monitor_.reset();
      Common::zmb_api::SetLinger(socket_->GetSocket(), 0);
      socket_.reset();
      return exchange;
    }
    auto [data, length] = reply->GetPayload();
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    exchange.reply.assign(bytes, bytes + length);
    exchange.status = ExitStatus::kOk;
    return exchange;
  }

 private:
  bool Connect(std::string& error) {
    if (socket_) return true;
    context_ = Common::zmb_api::OpenContext();
    if (!context_) {
      error = fmt::format("no message bus: {}", std::strerror(errno));
      return false;
    }
    auto socket = std::make_unique<ZmbSocket>(context_.get(), ZmbSocket::kDealer, nullptr);
    if (socket->ConnLink(uri_, true, true).second != 0) {
      error = fmt::format("cannot connect to {}: {}", uri_, std::strerror(errno));
      return false;
    }
    socket_ = std::move(socket);
    zmq_socket_monitor(socket_->GetSocket(), kMonitor, ZMQ_EVENT_DISCONNECTED);
    monitor_ = Common::zmb_api::OpenSocket(context_.get(), ZMQ_PAIR);
    Common::zmb_api::Connect(monitor_.get(), kMonitor);
    return true;
  }

  // True when the daemon has closed a connection since the last call.
  bool HasGone() {
    bool gone = false;
    while (zmq_recv(monitor_.get(), nullptr, 0, ZMQ_DONTWAIT) >= 0) gone = true;
    return gone;
  }

  // One attempt: a request sent twice is carried out twice.
  std::unique_ptr<ZmbMessage> SendAndWait(const ZmbMessage& request, std::string& error) {
    if (HasGone()) {  // and a test that it ran with it; the next request finds another one
      error = fmt::format("the daemon at {} ended after its last answer", uri_);
      return nullptr;
    }
    ZmbMessage::Send(socket_->GetSocket(), ZmbMessage::Dupe(&request));
    const auto deadline = SteadyClock::now() + std::chrono::milliseconds(timeout_ms_);
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
      zmq_pollitem_t items[] = {{socket_->GetSocket(), 0, ZMQ_POLLIN, 0},
                                {monitor_.get(), 0, ZMQ_POLLIN, 0}};
      const auto wait = static_cast<long>(std::max<std::int64_t>(left.count(), 0));
      const int ready = Common::zmb_api::Poll(items, 2, wait);
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) {
        error = fmt::format("no answer from {} within {} ms", uri_, timeout_ms_);
        return nullptr;
      }
      if (items[0].revents == 0 && HasGone()) {
        error = fmt::format("no answer from {}: the daemon ended meanwhile", uri_);
        return nullptr;
      }
      if (items[0].revents == 0) continue;
      std::unique_ptr<ZmbMessage> reply(ZmbMessage::Recv(socket_->GetSocket()));
      if (!reply || IsReplyTo(request, *reply)) return reply;
    }
  }

  static bool IsReplyTo(const ZmbMessage& request, const ZmbMessage& reply) {
    int asked = 0;
    int answered = 0;
    const void* name = request.GetDescrValue(asked);
    const void* other = reply.GetDescrValue(answered);
    return other != nullptr && asked == answered &&
           std::memcmp(name, other, static_cast<std::size_t>(asked)) == 0;
  }

  const std::string uri_;
  const int timeout_ms_;
  unsigned asked_ = 0;
  Common::zmb_api::Context context_;
  // behind the context, so that they are closed before
  std::unique_ptr<ZmbSocket> socket_;
  Common::zmb_api::Socket monitor_;
};

}  // namespace

std::unique_ptr<Transport> MakeBusTransport(const std::string& uri, int timeout_ms) {
  return std::make_unique<BusTransport>(uri, timeout_ms);
}

}  // namespace host

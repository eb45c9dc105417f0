// The message bus as a road for host records.
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/transport.h"
#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_socket.h"

namespace host {
namespace {

using Common::ZmbMessage;
using Common::ZmbSocket;

class BusTransport : public Transport {
 public:
  BusTransport(std::string uri, int timeout_ms) : uri_(std::move(uri)), timeout_ms_(timeout_ms) {}

  Exchange Ask(const Bytes& request) override {
    Exchange exchange;
    if (!Connect(exchange.error)) return exchange;
    // A descriptor of its own tells each reply from those to earlier requests.
    std::string name = fmt::format("q5host.{}.{}", ::getpid(), ++asked_);
    ZmbMessage::Buffer descriptor{name.data(), static_cast<int>(name.size())};
    int size = static_cast<int>(request.size());
    std::unique_ptr<ZmbMessage> message(ZmbMessage::Init(size, &descriptor, true));
    message->SetPayload(request.data(), size, 0);

    // One attempt: a request sent twice is carried out twice.
    int error = 0;
    std::unique_ptr<ZmbMessage> reply(
        ZmbMessage::Send(socket_.get(), message.get(), error, timeout_ms_, 1));
    if (!reply) {
      exchange.error = fmt::format("no answer from {} within {} ms", uri_, timeout_ms_);
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
    return true;
  }

  const std::string uri_;
  const int timeout_ms_;
  unsigned asked_ = 0;
  Common::zmb_api::Context context_;
  std::unique_ptr<ZmbSocket> socket_;  // behind the context, so that it is closed before
};

}  // namespace

std::unique_ptr<Transport> MakeBusTransport(const std::string& uri, int timeout_ms) {
  return std::make_unique<BusTransport>(uri, timeout_ms);
}

}  // namespace host

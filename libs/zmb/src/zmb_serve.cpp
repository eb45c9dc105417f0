#include "libs/zmb/src/zmb_serve.h"

#include <cassert>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_log.h"
#include "platform/guarded.h"

namespace Common {

// No poll before the receive, which waits as well: a poll would cost a request two more
// microseconds.
void ServeReplies(ZmbSocket* socket, const std::atomic<bool>& running,
                  const std::function<void(ZmbMessage*)>& handle) {
  assert(socket != nullptr);
  while (running) {
    std::unique_ptr<ZmbMessage> msg(ZmbMessage::Recv(socket->GetSocket()));
    if (!msg || !platform::Guarded("Serve", [&] { handle(msg.get()); })) continue;
    ZmbMessage::Send(socket->GetSocket(), msg.release());
  }
}

void Serve(const std::vector<ServedSocket>& sockets, const std::atomic<bool>& running) {
  std::vector<zmq_pollitem_t> items;
  for (const ServedSocket& served : sockets) {
    assert(served.socket != nullptr);
    items.push_back({served.socket->GetSocket(), 0, ZMQ_POLLIN, 0});
  }
  while (running) {
    if (zmb_api::Poll(items.data(), static_cast<int>(items.size()), -1) <= 0) continue;
    for (size_t i = 0; i < items.size(); ++i) {
      if ((items[i].revents & ZMQ_POLLIN) == 0) continue;
      std::unique_ptr<ZmbMessage> msg(ZmbMessage::Recv(items[i].socket));
      if (msg) platform::Guarded("Serve", [&] { sockets[i].serve(std::move(msg)); });
    }
  }
}

}  // namespace Common

// The loops of the servers on the bus.
//
// Both wait without limit and serve one message at a time while `running`; it is looked at before
// each wait, so clearing it takes effect with the next message. A failed wait or receive (which the
// receive logs) is no end: the loop continues. A message whose handler throws is logged and
// dropped.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_socket.h"

namespace Common {

/// One socket (not null): every message returns on it after `handle` has worked on it.
void ServeReplies(ZmbSocket* socket, const std::atomic<bool>& running,
                  const std::function<void(ZmbMessage*)>& handle);

struct ServedSocket {
  ZmbSocket* socket;  ///< not null
  std::function<void(std::unique_ptr<ZmbMessage>)> serve;
};

/// Several sockets: each message is given to its socket's function.
void Serve(const std::vector<ServedSocket>& sockets, const std::atomic<bool>& running);

}  // namespace Common

// The loop of every server on the bus.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_socket.h"

namespace Common {

struct ServedSocket {
  ZmbSocket* socket;
  std::function<void(std::unique_ptr<ZmbMessage>)> serve;
};

/// Waits without limit for messages on the sockets (not null) and has each served, one at a time,
/// while `running`; it is looked at after each wait, so clearing it takes effect with the next
/// message. A failed wait or receive is no end: the loop goes on. `who` names the loop in the log.
void Serve(const std::vector<ServedSocket>& sockets, const std::atomic<bool>& running,
           const char* who);

/// The same for one socket on which every message goes back after `handle` has worked on it.
void ServeReplies(ZmbSocket* socket, const std::atomic<bool>& running, const char* who,
                  const std::function<void(ZmbMessage*)>& handle);

}  // namespace Common

// Serves an instrument's devices to daemons on $Q5_ROOT/q5sim.sock.
#pragma once

#include <optional>
#include <string>

#include "platform/instrument.h"
#include "simulator/acceptor.h"
#include "simulator/device_session.h"
#include "simulator/listeners.h"

namespace simulator {

class DeviceServer {
 public:
  explicit DeviceServer(platform::Instrument& instrument) : instrument_(instrument) {}

  /// Empty when it serves, else the reason. Serves until it is destroyed.
  std::string Start(const std::string& root);

 private:
  void Serve(int socket);

  platform::Instrument& instrument_;
  OpenFiles files_;
  UnixListener listener_;
  std::optional<Acceptor> acceptor_;
};

}  // namespace simulator

// Both ends of the control socket $Q5_ROOT/q5sim.ctl: lines in, lines out.
#pragma once

#include <optional>
#include <string>

#include "simulator/acceptor.h"
#include "simulator/listeners.h"
#include "simulator/units.h"

namespace simulator {

class ControlServer {
 public:
  explicit ControlServer(const Units& units) : units_(units) {}

  /// Empty when it serves, else the reason. Serves until it is destroyed.
  std::string Start(const std::string& root);

 private:
  void Serve(int socket);

  const Units& units_;
  UnixListener listener_;
  std::optional<Acceptor> acceptor_;
};

/// Sends one command to the q5sim that serves `root`. True with its answer, without the line's end,
/// in `answer`; false with the reason there.
bool SendControlLine(const std::string& root, const std::string& line, std::string& answer);

}  // namespace simulator

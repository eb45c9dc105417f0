// The programs of the main and the source module, and what connects them: the host's records, the
// message bus, and the watch over UDP.
#pragma once

#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "simulator/config.h"
#include "simulator/ethb.h"
#include "simulator/heartbeat.h"
#include "simulator/module_bus.h"
#include "simulator/server_status.h"
#include "simulator/sos.h"
#include "simulator/tos.h"
#include "simulator/virtual_instrument.h"

namespace simulator {

class Neighbours {
 public:
  /// `host_listener` is a listening TCP socket; the references outlive this.
  Neighbours(const Config& config, platform::UniqueFd host_listener, platform::Clock& clock,
             VirtualInstrument& instrument);
  ~Neighbours();
  Neighbours(const Neighbours&) = delete;
  Neighbours& operator=(const Neighbours&) = delete;

  /// Empty when all can run, else why not.
  const std::string& Problem() const;
  /// What time brings. Called every few milliseconds, by one thread.
  void Update();

 private:
  bool IsUp(const char* unit) const;

  VirtualInstrument& instrument_;
  ModuleBus bus_;
  Tos tos_;
  Sos sos_;
  ServerStatus servers_;
  Heartbeat heartbeat_;
  Ethb ethb_;
};

}  // namespace simulator

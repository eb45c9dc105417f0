// How a record reaches the daemon and its reply comes back.
//
// Threads: a transport belongs to one thread.
#pragma once

#include <memory>
#include <string>

#include "host/exit_status.h"
#include "host/hex.h"

namespace host {

/// The result of one exchange: kOk with a reply, which nobody has looked into yet, or kNoAnswer,
/// kMalformed or kOtherHost with a reason.
struct Exchange {
  ExitStatus status = ExitStatus::kNoAnswer;
  Bytes reply;
  std::string error;
};

class Transport {
 public:
  Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  virtual ~Transport() = default;

  /// Sends one record and waits for its reply. A reply that comes too late is never taken for that
  /// of a later request.
  virtual Exchange Ask(const Bytes& request) = 0;
};

/// Over the message bus, to a router socket at `uri`: "ipc://PATH" or "tcp://ADDRESS:PORT". Waits
/// for the daemon to appear, too, up to `timeout_ms` for the whole exchange.
std::unique_ptr<Transport> MakeBusTransport(const std::string& uri, int timeout_ms);

/// The host's own transport: records back to back on a TCP connection to the main module, at
/// "ADDRESS:PORT". Up to `timeout_ms` for connection and exchange together.
std::unique_ptr<Transport> MakeStreamTransport(const std::string& address, int timeout_ms);

}  // namespace host

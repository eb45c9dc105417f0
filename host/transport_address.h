// Where a transport connects to, from the words of the command line.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/transport.h"

namespace host {

inline constexpr int kBusPort = 3088;   ///< of the daemon, on the measurement module
inline constexpr int kHostPort = 3087;  ///< for hosts, on the main module

struct TransportAddress {
  enum Kind { kBus, kHost } kind;
  std::string address;  ///< kBus: a URI; kHost: ADDRESS:PORT
};

/// "ipc://PATH", "tcp://ADDRESS[:3088]" (bus) or "host://ADDRESS[:3087]". Nothing, and a reason in
/// `error`, for any other text.
std::optional<TransportAddress> AddressFrom(std::string_view uri, std::string& error);

/// The address of the instrument whose files are under `root`. `via`: "bus" for the daemon's
/// ipc end point, "tcp" for the bus at the address of "meas" in etc/hosts, "host" for the host port
/// at the address of "main" there.
std::optional<TransportAddress> AddressUnder(const std::string& root, std::string_view via,
                                             std::string& error);

/// The address of `name` in the text of a hosts file: lines of an address and its names, "#" before
/// a comment. Empty when no line has it.
std::string AddressIn(std::string_view hosts, std::string_view name);

std::unique_ptr<Transport> MakeTransport(const TransportAddress& address, int timeout_ms);

}  // namespace host

// The address of a Unix socket.
#pragma once

#include <sys/un.h>

#include <cstring>
#include <optional>
#include <string_view>

namespace platform {

/// Nothing for a path that is too long (107 bytes fit).
inline std::optional<sockaddr_un> UnixAddress(std::string_view path) {
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path) return std::nullopt;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

}  // namespace platform

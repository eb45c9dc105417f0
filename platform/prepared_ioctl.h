// An ioctl that is put together beforehand, for a signal handler that has only system calls left.
#pragma once

#include <array>
#include <cstddef>

namespace platform {

/// Made by Backend::Prepare; plain data.
struct PreparedIoctl {
  int fd = -1;
  unsigned long request = 0;
  std::size_t packet_bytes = 0;  ///< 0: an ioctl; else `bytes` go to a server behind `fd`
  alignas(8) std::array<std::byte, 64> bytes{};
};

/// Makes the request once; its result is not reported. Async-signal-safe.
void Send(PreparedIoctl& prepared);

}  // namespace platform

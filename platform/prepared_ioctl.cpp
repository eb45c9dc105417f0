#include "platform/prepared_ioctl.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

namespace platform {

void Send(PreparedIoctl& prepared) {
  const int error = errno;
  if (prepared.packet_bytes == 0) {
    ::ioctl(prepared.fd, prepared.request, prepared.bytes.data());
  } else {
    ::send(prepared.fd, prepared.bytes.data(), prepared.packet_bytes, MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  errno = error;
}

}  // namespace platform

#include "libs/zmb/src/zmb_address.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/backend.h"

namespace Common {

namespace {

const std::string kIpc = "ipc://";

}  // namespace

std::string MachineAddress(const std::string& uri) {
  if (uri.rfind(kIpc, 0) != 0) return uri;
  std::string path = uri.substr(kIpc.size());
  if (path.empty() || path.front() != '/') path.insert(0, "/");  // a daemon's directory is "/"
  return kIpc + platform::Machine().Path(path);
}

bool IpcInUse(const std::string& address) {
  if (address.rfind(kIpc, 0) != 0) return false;
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  const size_t length = address.size() - kIpc.size();
  if (length == 0 || length >= sizeof name.sun_path) return false;  // the bind refuses it
  std::memcpy(name.sun_path, address.data() + kIpc.size(), length);

  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return false;
  const int rc = connect(fd, reinterpret_cast<const sockaddr*>(&name), sizeof name);
  // a listener whose queue is full refuses with EAGAIN; one of another kind with EPROTOTYPE
  const bool in_use = rc == 0 || errno == EAGAIN || errno == EPROTOTYPE;
  close(fd);
  return in_use;
}

}  // namespace Common

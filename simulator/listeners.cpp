#include "simulator/listeners.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/unix_address.h"

namespace simulator {
namespace {

// A burst of connects beyond it waits a second and more for its retries.
constexpr int kBacklog = 1024;
constexpr int kPatienceMs = 500;

int BindAndListen(int socket, const void* address, socklen_t size) {
  if (::bind(socket, static_cast<const sockaddr*>(address), size) != 0) return errno;
  return ::listen(socket, kBacklog) == 0 ? 0 : errno;
}

std::optional<sockaddr_in> TcpAddress(const std::string& address, std::uint16_t port) {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(port);
  if (::inet_pton(AF_INET, address.c_str(), &where.sin_addr) != 1) return std::nullopt;
  return where;
}

}  // namespace

std::string UnixListener::Listen(const std::string& path, int type) {
  const auto address = platform::UnixAddress(path);
  if (!address) return path + ": too long for a socket";
  ::unlink(path.c_str());
  socket_.Reset(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int error = socket_ ? BindAndListen(socket_.Get(), &*address, sizeof *address) : errno;
  if (error != 0) return path + ": " + std::strerror(error);
  path_ = path;
  return "";
}

UnixListener::~UnixListener() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

int ListenTcp(const std::string& address, std::uint16_t port, platform::UniqueFd& socket) {
  const auto where = TcpAddress(address, port);
  if (!where) return EINVAL;
  platform::UniqueFd made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!made) return errno;
  const int on = 1;  // a port that a killed q5sim used is free at once
  ::setsockopt(made.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (const int error = BindAndListen(made.Get(), &*where, sizeof *where)) return error;
  socket = std::move(made);
  return 0;
}

bool AnswersTcp(const std::string& address, std::uint16_t port) {
  const auto where = TcpAddress(address, port);
  const platform::UniqueFd probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!where || !probe) return false;
  if (::connect(probe.Get(), reinterpret_cast<const sockaddr*>(&*where), sizeof *where) == 0) {
    return true;
  }
  if (errno != EINPROGRESS) return false;
  pollfd answer{.fd = probe.Get(), .events = POLLOUT, .revents = 0};
  if (::poll(&answer, 1, kPatienceMs) <= 0) return true;  // somebody is there, with a full queue
  int error = 0;
  socklen_t size = sizeof error;
  return ::getsockopt(probe.Get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

}  // namespace simulator

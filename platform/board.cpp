#include "platform/board.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>

#include "platform/unique_fd.h"

namespace platform {
namespace {

constexpr char kInterface[] = "eth0";

std::string Dotted(const in_addr& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  ::inet_ntop(AF_INET, &address, text.data(), text.size());
  return text.data();
}

std::optional<std::string> AddressOfHostName() {
  static std::mutex resolver_mutex;  // gethostbyname answers in static memory
  const std::lock_guard lock(resolver_mutex);
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
  const hostent* entry = ::gethostbyname(name.data());
  if (entry == nullptr || entry->h_addrtype != AF_INET || entry->h_addr_list[0] == nullptr) {
    return std::nullopt;
  }
  in_addr address{};
  std::memcpy(&address, entry->h_addr_list[0], sizeof address);
  return Dotted(address);
}

std::optional<std::string> AddressOfInterface() {
  const UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) return std::nullopt;
  ifreq request{};
  std::memcpy(request.ifr_name, kInterface, sizeof kInterface);
  if (::ioctl(socket.Get(), SIOCGIFADDR, &request) != 0) return std::nullopt;
  sockaddr_in address{};
  std::memcpy(&address, &request.ifr_addr, sizeof address);
  return Dotted(address.sin_addr);
}

}  // namespace

int BoardBackend::Open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags | O_CLOEXEC, mode);
}
int BoardBackend::Close(int fd) { return ::close(fd); }
ssize_t BoardBackend::Read(int fd, void* data, size_t size) { return ::read(fd, data, size); }
ssize_t BoardBackend::Pread(int fd, void* data, size_t size, off_t offset) {
  return ::pread(fd, data, size, offset);
}
ssize_t BoardBackend::Write(int fd, const void* data, size_t size) {
  return ::write(fd, data, size);
}
int BoardBackend::Ioctl(int fd, unsigned long request, void* argument) {
  return ::ioctl(fd, request, argument);
}
int BoardBackend::Prepare(int fd, unsigned long request, const void* argument, size_t size,
                          PreparedIoctl& prepared) {
  if (size > prepared.bytes.size()) {
    errno = EINVAL;
    return -1;
  }
  prepared.fd = fd;
  prepared.request = request;
  std::memcpy(prepared.bytes.data(), argument, size);
  return 0;
}
void* BoardBackend::Mmap(void* address, size_t length, int protection, int flags, int fd,
                         off_t offset) {
  return ::mmap(address, length, protection, flags, fd, offset);
}
int BoardBackend::Munmap(void* address, size_t length) { return ::munmap(address, length); }

int BoardBackend::System(const char* command) { return std::system(command); }

int BoardBackend::SetRealtime(const timespec& time) {
  return ::clock_settime(CLOCK_REALTIME, &time);
}

std::string BoardBackend::HostAddress() {
  if (auto address = AddressOfHostName()) return *address;
  if (auto address = AddressOfInterface()) return *address;
  return "127.0.0.1";
}

void BoardBackend::SystemLog(const char* ident, int priority, const char* text) {
  static std::mutex log_mutex;  // openlog keeps the pointer of the last caller's name
  const std::lock_guard lock(log_mutex);
  ::openlog(ident, LOG_PID, LOG_DAEMON);
  ::syslog(priority, "%s", text);
  ::closelog();
}

}  // namespace platform

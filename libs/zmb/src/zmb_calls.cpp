// libzmq has no hook for what ZmbGuard does. Its calls of the C library are found through the
// dynamic linker, which takes the program's own functions of these names before those of the C
// library. So the functions here are the ones that libzmq calls, on its own threads; on every other
// thread they do what they did.
#include "libs/zmb/src/zmb_calls.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include "libs/zmb/src/zmb_guard.h"

#define ZMB_EXPORT [[gnu::visibility("default"), gnu::used]]

// The names differ from the C library's, whose headers may define those as macros or inline.
extern "C" {
ZMB_EXPORT int ZmbAccept(int fd, sockaddr* peer, socklen_t* size) __asm__("accept");
ZMB_EXPORT int ZmbAccept4(int fd, sockaddr* peer, socklen_t* size, int flags) __asm__("accept4");
ZMB_EXPORT ssize_t ZmbRecv(int fd, void* data, size_t size, int flags) __asm__("recv");
ZMB_EXPORT int ZmbClose(int fd) __asm__("close");
}

namespace {

using Common::ZmbGuard;

/// libzmq's threads have names that begin so, before they do anything else.
constexpr std::string_view kBusThread = "ZMQbg";

bool OnBusThread() {
  thread_local const bool on_bus_thread = [] {
    std::array<char, 16> name{};
    return ::pthread_getname_np(::pthread_self(), name.data(), name.size()) == 0 &&
           std::string_view(name.data()).starts_with(kBusThread);
  }();
  return on_bus_thread;
}

/// The function that would be called without the one here: the C library's, or a sanitizer's.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int NextClose(int fd) {
  static auto* const next = Next<decltype(ZmbClose)>("close");
  return next(fd);
}

// A connection that is not admitted is gone before libzmq has seen it. EAGAIN is what libzmq
// expects when a peer has left again while it waited. The reset leaves no trace of the connection
// in the system's tables.
int AdmitAccepted(int connection) {
  if (connection < 0 || !OnBusThread() || ZmbGuard::Instance().Admit(connection)) return connection;
  const linger reset{.l_onoff = 1, .l_linger = 0};
  ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  NextClose(connection);
  errno = EAGAIN;
  return -1;
}

}  // namespace

int ZmbAccept(int fd, sockaddr* peer, socklen_t* size) {
  static auto* const next = Next<decltype(ZmbAccept)>("accept");
  return AdmitAccepted(next(fd, peer, size));
}

int ZmbAccept4(int fd, sockaddr* peer, socklen_t* size, int flags) {
  static auto* const next = Next<decltype(ZmbAccept4)>("accept4");
  return AdmitAccepted(next(fd, peer, size, flags));
}

ssize_t ZmbRecv(int fd, void* data, size_t size, int flags) {
  static auto* const next = Next<decltype(ZmbRecv)>("recv");
  const ssize_t received = next(fd, data, size, flags);
  if (received <= 0 || !OnBusThread()) return received;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (ZmbGuard::Instance().Received(fd, {bytes, static_cast<size_t>(received)})) return received;
  errno = ECONNRESET;
  return -1;
}

// A thread sanitizer closes files of its own in the middle of any thread, and must not come into
// code that it watches; so other files go by at once. Before the close: afterwards another thread
// may get the number for a connection of its own.
int ZmbClose(int fd) {
  if (ZmbGuard::MayBeConnection(fd) && OnBusThread()) ZmbGuard::Instance().Closed(fd);
  return NextClose(fd);
}

namespace Common {

bool CallsAreGuarded() {
  return ::dlsym(RTLD_DEFAULT, "recv") == reinterpret_cast<void*>(&ZmbRecv) &&
         ::dlsym(RTLD_DEFAULT, "accept4") == reinterpret_cast<void*>(&ZmbAccept4) &&
         ::dlsym(RTLD_DEFAULT, "close") == reinterpret_cast<void*>(&ZmbClose);
}

}  // namespace Common

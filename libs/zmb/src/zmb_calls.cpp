// libzmq has no hook for what ZmbGuard does. Its calls of the C library are found through the
// dynamic linker, which takes the program's own functions of these names before those of the C
// library. So the functions here are the ones that libzmq calls, on its own threads (listen: on the
// one that binds); on every other thread they do what they did.
#include "libs/zmb/src/zmb_calls.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include "libs/zmb/src/zmb_guard.h"

#define ZMB_EXPORT [[gnu::visibility("default"), gnu::used]]

// The names differ from the C library's, whose headers may define those as macros or inline.
extern "C" {
ZMB_EXPORT int ZmbListen(int fd, int waiting) __asm__("listen");
ZMB_EXPORT int ZmbConnect(int fd, const sockaddr* peer, socklen_t size) __asm__("connect");
ZMB_EXPORT int ZmbAccept(int fd, sockaddr* peer, socklen_t* size) __asm__("accept");
ZMB_EXPORT int ZmbAccept4(int fd, sockaddr* peer, socklen_t* size, int flags) __asm__("accept4");
ZMB_EXPORT ssize_t ZmbRecv(int fd, void* data, size_t size, int flags) __asm__("recv");
ZMB_EXPORT int ZmbClose(int fd) __asm__("close");
}

namespace {

using Common::ZmbGuard;

/// The socket that this thread binds just now, else null.
thread_local const void* binding = nullptr;
thread_local bool binding_publishes = false;

/// libzmq's threads have names that begin so, before they do anything else.
constexpr std::string_view kBusThread = "ZMQbg";

// libzmq blocks every signal on its threads. A fault there would end the process without the
// handler that drops the safety line.
void LetFaultsBeHandled() {
  sigset_t faults;
  sigemptyset(&faults);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) sigaddset(&faults, fault);
  ::pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

bool OnBusThread() {
  thread_local const bool on_bus_thread = [] {
    std::array<char, 16> name{};
    const bool is = ::pthread_getname_np(::pthread_self(), name.data(), name.size()) == 0 &&
                    std::string_view(name.data()).starts_with(kBusThread);
    if (is) LetFaultsBeHandled();
    return is;
  }();
  return on_bus_thread;
}

/// The function that would be called without the one here: the C library's, or a sanitizer's.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// A thread sanitizer closes files of its own in the middle of any thread, while it holds its locks:
// a close that it watches would then wait for these locks for ever. So nothing on the way of such a
// close is watched, and there is no static object within a function, whose guard would be.
#define ZMB_UNWATCHED __attribute__((no_sanitize("thread")))

/// Null until the static objects of this file have been made.
decltype(ZmbClose)* const next_close = Next<decltype(ZmbClose)>("close");

ZMB_UNWATCHED int NextClose(int fd) {
  auto* const next = next_close;
  return next != nullptr ? next(fd) : Next<decltype(ZmbClose)>("close")(fd);
}

// A connection that is not admitted is gone before libzmq has seen it. EAGAIN is what libzmq
// expects when a peer has left again while it waited. The reset leaves no trace of the connection
// in the system's tables.
int AdmitAccepted(int connection, int listener) {
  if (connection < 0 || !OnBusThread()) return connection;
  if (ZmbGuard::Instance().Admit(connection, listener)) return connection;
  const linger reset{.l_onoff = 1, .l_linger = 0};
  ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  NextClose(connection);
  errno = EAGAIN;
  return -1;
}

}  // namespace

int ZmbListen(int fd, int waiting) {
  static auto* const next = Next<decltype(ZmbListen)>("listen");
  if (binding != nullptr) ZmbGuard::Instance().Listens(fd, binding, binding_publishes);
  return next(fd, waiting);
}

int ZmbConnect(int fd, const sockaddr* peer, socklen_t size) {
  static auto* const next = Next<decltype(ZmbConnect)>("connect");
  if (OnBusThread()) ZmbGuard::Instance().Connects(fd);
  return next(fd, peer, size);
}

int ZmbAccept(int fd, sockaddr* peer, socklen_t* size) {
  static auto* const next = Next<decltype(ZmbAccept)>("accept");
  return AdmitAccepted(next(fd, peer, size), fd);
}

int ZmbAccept4(int fd, sockaddr* peer, socklen_t* size, int flags) {
  static auto* const next = Next<decltype(ZmbAccept4)>("accept4");
  return AdmitAccepted(next(fd, peer, size, flags), fd);
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

// Other files than connections go by at once. Before the close: afterwards another thread may get
// the number for a connection of its own.
ZMB_UNWATCHED int ZmbClose(int fd) {
  if (ZmbGuard::MayBeConnection(fd) && OnBusThread()) ZmbGuard::Instance().Closed(fd);
  return NextClose(fd);
}

namespace Common {

Binding::Binding(const void* socket, bool publishes) {
  binding = socket;
  binding_publishes = publishes;
}

Binding::~Binding() { binding = nullptr; }

bool CallsAreGuarded() {
  return ::dlsym(RTLD_DEFAULT, "listen") == reinterpret_cast<void*>(&ZmbListen) &&
         ::dlsym(RTLD_DEFAULT, "connect") == reinterpret_cast<void*>(&ZmbConnect) &&
         ::dlsym(RTLD_DEFAULT, "accept") == reinterpret_cast<void*>(&ZmbAccept) &&
         ::dlsym(RTLD_DEFAULT, "recv") == reinterpret_cast<void*>(&ZmbRecv) &&
         ::dlsym(RTLD_DEFAULT, "accept4") == reinterpret_cast<void*>(&ZmbAccept4) &&
         ::dlsym(RTLD_DEFAULT, "close") == reinterpret_cast<void*>(&ZmbClose);
}

}  // namespace Common

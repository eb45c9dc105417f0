#include "libs/zmb/src/zmb_api.h"

#include <cerrno>
#include <deque>
#include <span>

#include "libs/zmb/src/zmb_calls.h"
#include "libs/zmb/src/zmb_guard.h"
#include "libs/zmb/src/zmb_limits.h"
#include "libs/zmb/src/zmb_log.h"

namespace Common::zmb_api {

namespace {

// 2.x kept a closed socket's unsent messages for ever, so that a process whose peer had gone never
// ended. A second is ample for the last reply to leave on the instrument's network.
constexpr int kLingerMs = 1000;

// A pulled cable ends no connection by itself. Each time the host comes back it would leave one
// more behind, and at the limit of its address it would find no place.
constexpr int kKeepAliveIdleS = 10;
constexpr int kKeepAliveIntervalS = 5;
constexpr int kKeepAliveProbes = 3;

// By default a frame keeps the whole buffer of 8 KiB in which it came, so one of 40 bytes that
// waits with a reply would take that much. zmq.h declares the option for draft builds only.
constexpr int kZeroCopyRecv = 10;

int SetInt(void* socket, int option, int value) {
  return zmq_setsockopt(socket, option, &value, sizeof value);
}

int TypeOf(void* socket) {
  int type = -1;
  size_t size = sizeof type;
  zmq_getsockopt(socket, ZMQ_TYPE, &type, &size);
  return type;
}

void KeepAlive(void* socket) {
  SetInt(socket, ZMQ_TCP_KEEPALIVE, 1);
  SetInt(socket, ZMQ_TCP_KEEPALIVE_IDLE, kKeepAliveIdleS);
  SetInt(socket, ZMQ_TCP_KEEPALIVE_INTVL, kKeepAliveIntervalS);
  SetInt(socket, ZMQ_TCP_KEEPALIVE_CNT, kKeepAliveProbes);
}

// A client that keeps its identity comes again (ReConnAll, or after a pulled cable), and the new
// connection often arrives before the end of the old one is noticed. Without handover the router
// would ignore the newcomer for as long as the dead connection lasts. ZmbGuard sees to it that the
// newcomer has the same address.
void LimitServer(void* router) {
  SetInt(router, ZMQ_RCVHWM, limits::kWaitingRequests);
  SetInt(router, ZMQ_SNDHWM, limits::kWaitingReplies);
  SetInt(router, ZMQ_ROUTER_HANDOVER, 1);
  SetInt(router, ZMQ_ROUTER_MANDATORY, 1);  // reports a reply that has no place, see SendMsg
  SetInt(router, ZMQ_SNDTIMEO, 0);
}

/// libzmq looks only now and then for the news of its I/O thread, such as what peers have read.
/// Asking for events makes it look now.
void HearWhatPeersRead(void* socket) {
  int events = 0;
  size_t size = sizeof events;
  zmq_getsockopt(socket, ZMQ_EVENTS, &events, &size);
}

}  // namespace

void ContextCloser::operator()(void* context) const {
  while (zmq_ctx_term(context) == -1 && errno == EINTR) {
  }
}

void SocketCloser::operator()(void* socket) const {
  ZmbGuard::Instance().SocketClosed(socket);
  zmq_close(socket);
}

Context OpenContext() {
  if (!CallsAreGuarded()) {
    zmb_log.Print(ZMB_ERROR, "<panic func=zmb_api.OpenContext connections=unguarded/>\n");
  }
  Context context(zmq_ctx_new());  // one I/O thread is the library's default
  if (context) zmq_ctx_set(context.get(), kZeroCopyRecv, 0);
  return context;
}

void ShutContext(void* context) { zmq_ctx_shutdown(context); }

Socket OpenSocket(void* context, int type) {
  Socket socket(zmq_socket(context, type));
  if (!socket) return socket;
  SetLinger(socket.get(), kLingerMs);
  const int64_t max_frame = limits::kFrameBytes;
  zmq_setsockopt(socket.get(), ZMQ_MAXMSGSIZE, &max_frame, sizeof max_frame);
  KeepAlive(socket.get());
  if (type == ZMQ_ROUTER) LimitServer(socket.get());
  return socket;
}

int SetIdentity(void* socket, const char* data, size_t size) {
  return zmq_setsockopt(socket, ZMQ_ROUTING_ID, data, size);
}

int SetLinger(void* socket, int milliseconds) { return SetInt(socket, ZMQ_LINGER, milliseconds); }

// ZmbGuard limits the handshakes of those that connect to this end.
int Bind(void* socket, const char* address) {
  SetInt(socket, ZMQ_HANDSHAKE_IVL, 0);
  const int type = TypeOf(socket);
  const bool publishes = type == ZMQ_PUB;
  const Binding binding(publishes || type == ZMQ_ROUTER ? socket : nullptr, publishes);
  return zmq_bind(socket, address);
}

int Connect(void* socket, const char* address) {
  SetInt(socket, ZMQ_HANDSHAKE_IVL, limits::kHandshakeMs);
  return zmq_connect(socket, address);
}

int Poll(zmq_pollitem_t* items, int count, long timeout_ms) {
  const int ready = zmq_poll(items, count, 0);
  for (const zmq_pollitem_t& item : std::span(items, static_cast<size_t>(count))) {
    const bool is_empty = (item.events & ~item.revents & ZMQ_POLLIN) != 0;
    if (ready >= 0 && is_empty) ZmbGuard::Instance().FoundEmpty(item.socket);
  }
  if (ready != 0 || timeout_ms == 0) return ready;
  std::deque<ZmbGuard::Waiting> waiting;
  for (int i = 0; i < count; ++i) waiting.emplace_back(items[i].socket);
  return zmq_poll(items, count, timeout_ms);
}

void TendPublisher(void* socket) {
  HearWhatPeersRead(socket);
  ZmbGuard::Instance().FoundEmpty(socket);
}

int RecvMsg(void* socket, zmq_msg_t* msg, bool& more) {
  int size = zmq_msg_recv(msg, socket, ZMQ_DONTWAIT);
  if (size == -1 && errno == EAGAIN) {
    const ZmbGuard::Waiting waiting(socket);
    size = zmq_msg_recv(msg, socket, 0);
  }
  more = size >= 0 && zmq_msg_more(msg) != 0;
  if (size >= 0 && !more) ZmbGuard::Instance().HasRead(socket);
  return size;
}

int SendMsg(void* socket, zmq_msg_t* msg, int flags) {
  bool heard = false;
  for (;;) {
    const int size = zmq_msg_send(msg, socket, flags);
    if (size != -1) return size;
    if (errno == EAGAIN && !heard) {
      HearWhatPeersRead(socket);
      heard = true;
    } else if (errno != EINTR) {
      return -1;
    }
  }
}

bool PeerTakesNothing(int error) { return error == EAGAIN || error == EHOSTUNREACH; }

}  // namespace Common::zmb_api

#if defined(__SANITIZE_THREAD__)
#define ZMB_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZMB_THREAD_SANITIZER 1
#endif
#endif

#ifdef ZMB_THREAD_SANITIZER
// libzmq is not built with the sanitizer, which therefore cannot see how it hands data from thread
// to thread. Every program with a bus socket needs this, so it is where all of them link it.
extern "C" [[gnu::weak]] const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libzmq.so\nrace:libzmq.so\n";
}
#endif

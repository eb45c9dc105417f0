#include "libs/zmb/src/zmb_api.h"

#include <cerrno>

namespace Common::zmb_api {

namespace {

// 2.x kept a closed socket's unsent messages for ever, so that a process whose peer had gone never
// ended. A second is ample for the last reply to leave on the instrument's network.
constexpr int kLingerMs = 1000;

// 2.x had no limit; 4.x drops a router's replies from the thousandth unread one on. A client that
// sends ahead and reads later must lose nothing, yet one that never reads must not fill the memory.
// Receiving keeps the library's default: there a full queue holds the sender back and drops
// nothing.
constexpr int kSendHighWater = 10000;

int SetInt(void* socket, int option, int value) {
  return zmq_setsockopt(socket, option, &value, sizeof value);
}

}  // namespace

void ContextCloser::operator()(void* context) const {
  while (zmq_ctx_term(context) == -1 && errno == EINTR) {
  }
}

void SocketCloser::operator()(void* socket) const { zmq_close(socket); }

Context OpenContext() { return Context(zmq_ctx_new()); }  // one I/O thread is the library's default

void ShutContext(void* context) { zmq_ctx_shutdown(context); }

Socket OpenSocket(void* context, int type) {
  Socket socket(zmq_socket(context, type));
  if (!socket) return socket;
  SetLinger(socket.get(), kLingerMs);
  SetInt(socket.get(), ZMQ_SNDHWM, kSendHighWater);
  const int64_t max_frame = kMaxFrameBytes;
  zmq_setsockopt(socket.get(), ZMQ_MAXMSGSIZE, &max_frame, sizeof max_frame);
  // A client keeps its identity when it connects anew (ReConnAll, or after a pulled cable), and the
  // new connection often arrives before the end of the old one is noticed. Without handover the
  // router would ignore the newcomer for as long as the dead connection lasts.
  if (type == ZMQ_ROUTER) SetInt(socket.get(), ZMQ_ROUTER_HANDOVER, 1);
  return socket;
}

int SetIdentity(void* socket, const char* data, size_t size) {
  return zmq_setsockopt(socket, ZMQ_ROUTING_ID, data, size);
}

int SetLinger(void* socket, int milliseconds) { return SetInt(socket, ZMQ_LINGER, milliseconds); }

int Bind(void* socket, const char* address) { return zmq_bind(socket, address); }

int Connect(void* socket, const char* address) { return zmq_connect(socket, address); }

int Poll(zmq_pollitem_t* items, int count, long timeout_ms) {
  return zmq_poll(items, count, timeout_ms);
}

int RecvMsg(void* socket, zmq_msg_t* msg, bool& more) {
  const int size = zmq_msg_recv(msg, socket, 0);
  more = size >= 0 && zmq_msg_more(msg) != 0;
  return size;
}

int SendMsg(void* socket, zmq_msg_t* msg, int flags) {
  int size;
  do {
    size = zmq_msg_send(msg, socket, flags);
  } while (size == -1 && errno == EINTR);
  return size;
}

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
// to thread. Every program with a bus socket needs this, so it stands where all of them link it.
extern "C" [[gnu::weak]] const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libzmq.so\nrace:libzmq.so\n";
}
#endif

// The one place that knows which libzmq this is.
//
// The bus was written for libzmq 2.x; these calls behave the same on 4.x. What differs:
//   - a receive marks "more parts follow" in the message itself; the option is an int, no int64;
//   - the unit of a poll's time is the millisecond (2.x: microsecond); this folder uses
//   milliseconds;
//   - a signal may end any blocking call with EINTR: sends are repeated here, receives and polls
//     return it to their callers, who loop anyway;
//   - high-water marks, linger and duplicate identities: see OpenSocket.
// zmq_msg_init, _data, _size, _close are the same in both and are called where a message is held.
//
// Threads: a context may be used by any thread, a socket by one thread at a time.
#pragma once

#include <zmq.h>

#include <memory>

namespace Common::zmb_api {

struct ContextCloser {
  void operator()(void* context) const;
};
/// Owns a context. Its end waits until every socket of the context is closed; a thread that still
/// waits on such a socket gets ETERM and is expected to close it.
using Context = std::unique_ptr<void, ContextCloser>;

struct SocketCloser {
  void operator()(void* socket) const;
};
using Socket = std::unique_ptr<void, SocketCloser>;

/// A context with one I/O thread, whose connections ZmbGuard watches. Null with errno when it
/// cannot be had.
Context OpenContext();

/// Makes every blocking call on the context's sockets return ETERM, now and later. Any thread.
void ShutContext(void* context);

/// A socket of a libzmq type, 1 (PUB) to 10 (XSUB), with this system's options and the limits of
/// zmb_limits.h. Null with errno.
Socket OpenSocket(void* context, int type);

/// At most 255 bytes; to be set before the first bind or connect. -1 with errno.
int SetIdentity(void* socket, const char* data, size_t size);
int SetLinger(void* socket, int milliseconds);

int Bind(void* socket, const char* address);
int Connect(void* socket, const char* address);

/// As zmq_poll: the number of ready items, 0 at the end of the time, -1 with errno. `timeout_ms` of
/// -1 waits for ever.
int Poll(zmq_pollitem_t* items, int count, long timeout_ms);

/// A publisher's socket is never read, so libzmq does not look for peers that have left while
/// nothing is sent. To be called several times a second, by who sends.
void TendPublisher(void* socket);

/// Bytes of the frame received into `msg`, or -1 with errno; `more`: parts follow.
int RecvMsg(void* socket, zmq_msg_t* msg, bool& more);

/// Bytes sent, or -1 with errno. After success `msg` is empty; after a failure it is as it was.
/// A router never waits for a peer; PeerTakesNothing says that the peer left or does not read.
int SendMsg(void* socket, zmq_msg_t* msg, int flags);
bool PeerTakesNothing(int error);

}  // namespace Common::zmb_api

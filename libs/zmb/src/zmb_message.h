// A message on the bus: frames in wire order.
//
//   zero or more  routing identities; each router on the way adds one at the front
//   one           delimiter, an empty frame
//   zero or one   descriptor: text that identifies the request
//   one           payload; always the last frame
//
// The routing frames and the delimiter end with the first empty frame. A message without an empty
// frame has all frames untyped, and its last frame is its payload all the same. What comes from the
// wire decides only how frames are typed: every operation is safe on any list of frames.
//
// Ownership: a message has one owner at a time. Functions that return a ZmbMessage* give it to the
// caller (hold it in a std::unique_ptr); Send(void*, ...) takes its message over.
// Threads: none of it is shared.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "libs/zmb/src/zmb_limits.h"
#include "libs/zmb/src/zmb_msg_frame.h"

namespace Common {

class ZmbSocket;

class ZmbMessage {
 public:
  using Buffer = std::pair<void*, int>;  ///< data and length

  ZmbMessage() = default;
  ZmbMessage(const ZmbMessage&) = delete;
  ZmbMessage& operator=(const ZmbMessage&) = delete;

  // --- On the wire ---

  /// What a message may have at most.
  static constexpr int kMaxFrames = limits::kFrames;
  static constexpr int kMaxBytes = limits::kMessageBytes;

  /// Blocks for one whole message of a libzmq socket. Null after an error and for a message beyond
  /// the limits, which is dropped; both are logged.
  static ZmbMessage* Recv(void* sock);
  /// Sends every frame and destroys the message (not null), whether or not that worked. 0, or minus
  /// the number of frames that were not sent.
  static int Send(void* sock, ZmbMessage* msg);

  /// Asks and waits for the answer, up to `attempts` times for `timeout` milliseconds each (-1: for
  /// ever). An attempt without an answer rebuilds the socket, so that nothing of it is left. The
  /// answer is the first whose descriptor equals the request's, or has none as the request has
  /// none; others are dropped. The request stays with the caller. `err` is 0 with an answer, else
  /// -1 with null. The socket is a connected one, best a dealer.
  static ZmbMessage* Send(ZmbSocket* zs, ZmbMessage* msg, int& err, int timeout, unsigned attempts);
  /// Waits `timeout` milliseconds for a message. `err` is 0 with one, else -1 with null.
  static ZmbMessage* RecvOnly(ZmbSocket* zs, int& err, int timeout);

  // The calls above with two kinds of socket differ in what they do with the message: no mix-ups.
  static ZmbMessage* Recv(ZmbSocket* zs) = delete;
  static int Send(ZmbSocket* zs, ZmbMessage* msg) = delete;

  // --- Making ---

  /// A payload frame of `len` bytes (0 or more) of undefined content, before it a descriptor if
  /// given (data not null, length above 0), before that a delimiter if asked for.
  static ZmbMessage* Init(int len, const Buffer* descr, bool delim);
  /// A deep copy; null for null.
  static ZmbMessage* Dupe(const ZmbMessage* msg);

  // --- Reading; null and length 0 where there is no such frame ---

  void* GetPayload(int& len) const;
  Buffer GetPayload() const;
  void* GetDescrValue(int& len) const;
  ZmbMsgFrame* GetDescriptorFrame() const { return _descr; }
  Buffer GetFrontFrameData() const;
  int GetFrameCount() const { return static_cast<int>(_frames.size()); }

  /// The number of routing frames, by the number of frames: all but 3 with a descriptor, all
  /// but 2 without; all of a message of fewer than 3.
  int GetConnIdCount() const;
  std::vector<std::string> GetConnIdVect() const;

  // --- Changing ---

  /// Replaces the last frame's content; a message without frames gets an untyped one. The data may
  /// be a part of the payload itself. `len`, or -1 for null data of a length, a length below 0 or
  /// beyond that of a frame, or too little memory; the content is then as it was.
  int SetPayload(const void* data, int len);
  /// Copies into the last frame at `offset`, without resizing. The bytes copied, 0 for null data; a
  /// negative count when they do not fit: minus the bytes that are too many; -1 without frames or
  /// for a negative argument.
  int SetPayload(const void* data, int len, int offset);
  /// The last frame's data after it got `len` bytes; the content is lost if that changes its size.
  /// Null when there is no frame or no memory.
  void* ResizePayload(int len);

  /// Adds an untyped frame at the front: `data` not null, `len` above 0.
  void PushMsgFrame(const void* data, int len);
  /// Drops the front frame, if any.
  void PopMsgFrame();

  void Show(int level) const;

 private:
  void Classify();

  std::deque<std::unique_ptr<ZmbMsgFrame>> _frames;
  ZmbMsgFrame* _delim = nullptr;  // both are in _frames
  ZmbMsgFrame* _descr = nullptr;
};

}  // namespace Common

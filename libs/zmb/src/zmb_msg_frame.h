// One frame of a bus message.
#pragma once

#include <zmq.h>

#include <memory>

namespace Common {

class ZmbMsgFrame {
 public:
  enum Type : int {
    UNTYPED = 0,  ///< a routing identity, or a frame of a message without a delimiter
    DELIM = 1,    ///< the empty frame behind the routing frames
    DESCR = 2,    ///< text that identifies the request, for matching a reply to it
    PAYLD = 3,
  };

  /// An empty frame.
  ZmbMsgFrame();
  /// `size` bytes (0 or more) of undefined content; empty when there is no memory for them.
  ZmbMsgFrame(int size, Type type);
  /// Copies are deep.
  ZmbMsgFrame(const ZmbMsgFrame& other);
  ZmbMsgFrame& operator=(const ZmbMsgFrame& other);
  ~ZmbMsgFrame();

  /// A copy of the data (not null) of `len` bytes (above 0).
  static std::unique_ptr<ZmbMsgFrame> Make(const void* data, int len, Type type);
  /// `len` bytes (above 0) of undefined content.
  static std::unique_ptr<ZmbMsgFrame> Make(int len, Type type);
  static std::unique_ptr<ZmbMsgFrame> Dupe(const ZmbMsgFrame& frame);

  /// Blocks for one frame of a libzmq socket; null after an error, which is logged. `more` is 1
  /// when more frames follow, else 0.
  static std::unique_ptr<ZmbMsgFrame> Recv(void* sock, int& more);
  /// Hands the frame's data to a libzmq socket and leaves the frame empty. 0, or -1 after an error,
  /// which is logged and leaves the frame as it was.
  static int Send(void* sock, ZmbMsgFrame& frame, int flags);

  /// Length and bytes; the type does not count.
  bool operator==(const ZmbMsgFrame& other) const;

  /// Nothing if the size is equal; else the content is lost. -1 (and an empty frame) without memory
  /// or with a negative `len`.
  int Resize(int len);
  /// Takes a copy of `len` bytes, which may be a part of the frame's own. `len` or -1.
  int Assign(const void* data, int len);

  void* Data() { return zmq_msg_data(&_msg); }
  const void* Data() const { return zmq_msg_data(const_cast<zmq_msg_t*>(&_msg)); }
  int Len() const { return _len; }
  Type GetType() const { return _type; }
  void SetType(Type type) { _type = type; }

  /// Logs the frame with its number in the message.
  void Show(int level, int number) const;

 private:
  bool Allocate(int len);  // of a frame without data

  zmq_msg_t _msg;
  int _len = 0;
  Type _type = UNTYPED;
};

}  // namespace Common

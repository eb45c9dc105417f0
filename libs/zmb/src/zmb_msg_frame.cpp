#include "libs/zmb/src/zmb_msg_frame.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <utility>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_util.h"

namespace Common {

ZmbMsgFrame::ZmbMsgFrame() { zmq_msg_init(&_msg); }

ZmbMsgFrame::ZmbMsgFrame(int size, Type type) : _type(type) {
  assert(size >= 0);
  if (!Allocate(size)) {
    zmb_log.Print(ZMB_ERROR, "%s.%d: zmq_msg_init_size failed _msg=%p len=%d\n", __func__, __LINE__,
                  static_cast<void*>(&_msg), size);
  }
}

ZmbMsgFrame::ZmbMsgFrame(const ZmbMsgFrame& other) : ZmbMsgFrame(other._len, other._type) {
  if (_len > 0) std::memcpy(Data(), other.Data(), _len);
}

ZmbMsgFrame& ZmbMsgFrame::operator=(const ZmbMsgFrame& other) {
  if (this == &other) return *this;
  Assign(other.Data(), other._len);
  _type = other._type;
  return *this;
}

ZmbMsgFrame::~ZmbMsgFrame() { zmq_msg_close(&_msg); }

bool ZmbMsgFrame::Allocate(int len) {
  _len = len;
  if (zmq_msg_init_size(&_msg, len) == 0) return true;
  zmq_msg_init(&_msg);
  _len = 0;
  return false;
}

std::unique_ptr<ZmbMsgFrame> ZmbMsgFrame::Make(const void* data, int len, Type type) {
  assert(data != nullptr);
  auto frame = Make(len, type);
  if (frame->_len == len) std::memcpy(frame->Data(), data, len);
  return frame;
}

std::unique_ptr<ZmbMsgFrame> ZmbMsgFrame::Make(int len, Type type) {
  assert(len > 0);
  return std::make_unique<ZmbMsgFrame>(len, type);
}

std::unique_ptr<ZmbMsgFrame> ZmbMsgFrame::Dupe(const ZmbMsgFrame& frame) {
  return std::make_unique<ZmbMsgFrame>(frame);
}

std::unique_ptr<ZmbMsgFrame> ZmbMsgFrame::Recv(void* sock, int& more) {
  auto frame = std::make_unique<ZmbMsgFrame>();
  bool parts_follow = false;
  if (zmb_api::RecvMsg(sock, &frame->_msg, parts_follow) < 0) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMsgFrame.Recv zmq_recv_err=%d />\n", errno);
    return nullptr;
  }
  frame->_len = static_cast<int>(zmq_msg_size(&frame->_msg));
  more = parts_follow ? 1 : 0;
  return frame;
}

int ZmbMsgFrame::Send(void* sock, ZmbMsgFrame& frame, int flags) {
  if (zmb_api::SendMsg(sock, &frame._msg, flags) < 0) {
    // No line for a peer's doing: it would write one for each reply that it does not read.
    if (!zmb_api::PeerTakesNothing(errno)) {
      zmb_log.Print(ZMB_WARN, "<warn func=ZmbMsgFrame.Send flag=%d zmq_send_err=%d>\n", flags,
                    errno);
    }
    return -1;
  }
  frame._len = 0;
  return 0;
}

bool ZmbMsgFrame::operator==(const ZmbMsgFrame& other) const {
  return _len == other._len && (_len == 0 || std::memcmp(Data(), other.Data(), _len) == 0);
}

int ZmbMsgFrame::Resize(int len) {
  if (len == _len) return 0;
  const int old = _len;
  zmq_msg_close(&_msg);
  if (len < 0) {
    zmq_msg_init(&_msg);
    _len = 0;
  } else if (Allocate(len)) {
    return 0;
  }
  zmb_log.Print(ZMB_ERROR,
                "Common::ZmbMsgFrame::Resize zmq_msg_init_size failed  _len=%d len=%d _msg=%p\n",
                old, len, static_cast<void*>(&_msg));
  return -1;
}

int ZmbMsgFrame::Assign(const void* data, int len) {
  if (len < 0 || (data == nullptr && len > 0)) return -1;
  if (len != _len) {
    ZmbMsgFrame fresh(len, _type);
    if (fresh._len != len) return -1;
    if (len > 0) std::memcpy(fresh.Data(), data, len);
    zmq_msg_move(&_msg, &fresh._msg);
    _len = len;
  } else if (len > 0) {
    std::memmove(Data(), data, len);
  }
  return len;
}

void ZmbMsgFrame::Show(int level, int number) const {
  if (!zmb_log.Wants(level)) return;
  zmb_log.Print(level, "<ZmbMsgFrame n=%d msg=%p len=%d type=%d>\n", number,
                static_cast<const void*>(&_msg), _len, static_cast<int>(_type));
  ShowBuffer(level, Data(), _len);
  zmb_log.Print(level, "</ZmbMsgFrame>\n");
}

}  // namespace Common

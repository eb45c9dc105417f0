#include "libs/zmb/src/zmb_message.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdint>
#include <cstring>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_log.h"

namespace Common {

namespace {

ZmbMessage::Buffer DataOf(ZmbMsgFrame* frame) {
  if (frame == nullptr) return {nullptr, 0};
  return {frame->Data(), frame->Len()};
}

void* DataOf(ZmbMsgFrame* frame, int& len) {
  const auto [data, size] = DataOf(frame);
  len = size;
  return data;
}

}  // namespace

// Of a message beyond the limits the rest is read as well, so that the next one begins at its first
// frame, but nothing of it is kept.
ZmbMessage* ZmbMessage::Recv(void* sock) {
  if (sock == nullptr) {
    zmb_log.Print(ZMB_ERROR, "<panic func=ZmbMessage.Recv sock=null/>\n");
    return nullptr;
  }
  auto msg = std::make_unique<ZmbMessage>();
  std::int64_t bytes = 0;
  std::int64_t frames = 0;
  int more = 1;
  while (more != 0) {
    auto frame = ZmbMsgFrame::Recv(sock, more);
    if (!frame) return nullptr;
    bytes += frame->Len();
    ++frames;
    if (frames > kMaxFrames || bytes > kMaxBytes) {
      msg->_frames.clear();
    } else {
      msg->_frames.push_back(std::move(frame));
    }
  }
  if (frames > kMaxFrames || bytes > kMaxBytes) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.Recv dropped frames=%lld bytes=%lld/>\n",
                  static_cast<long long>(frames), static_cast<long long>(bytes));
    return nullptr;
  }
  msg->Classify();
  return msg.release();
}

void ZmbMessage::Classify() {
  const auto delim = std::find_if(_frames.begin(), _frames.end(),
                                  [](const auto& frame) { return frame->Len() == 0; });
  if (delim == _frames.end()) return;
  _delim = delim->get();
  _delim->SetType(ZmbMsgFrame::DELIM);
  auto frame = delim + 1;
  if (_frames.end() - frame > 1) {
    _descr = frame->get();
    _descr->SetType(ZmbMsgFrame::DESCR);
    ++frame;
  }
  for (; frame != _frames.end(); ++frame) (*frame)->SetType(ZmbMsgFrame::PAYLD);
}

int ZmbMessage::Send(void* sock, ZmbMessage* msg) {
  assert(msg != nullptr);
  const std::unique_ptr<ZmbMessage> owned(msg);
  int left = msg->GetFrameCount();
  for (const auto& frame : msg->_frames) {
    // What follows a lost frame would be taken for another message: a payload for an address.
    if (ZmbMsgFrame::Send(sock, *frame, left > 1 ? ZMQ_SNDMORE : 0) != 0) break;
    --left;
  }
  return -left;
}

ZmbMessage* ZmbMessage::Init(int len, const Buffer* descr, bool delim) {
  zmb_log.Print(ZMB_DEBUG, "Common::ZmbMessage::Init len=%d\n", len);
  auto msg = std::make_unique<ZmbMessage>();
  if (delim) {
    msg->_frames.push_back(std::make_unique<ZmbMsgFrame>(0, ZmbMsgFrame::DELIM));
    msg->_delim = msg->_frames.back().get();
  }
  if (descr != nullptr) {
    msg->_frames.push_back(ZmbMsgFrame::Make(descr->first, descr->second, ZmbMsgFrame::DESCR));
    msg->_descr = msg->_frames.back().get();
  }
  msg->_frames.push_back(std::make_unique<ZmbMsgFrame>(len, ZmbMsgFrame::PAYLD));
  return msg.release();
}

ZmbMessage* ZmbMessage::Dupe(const ZmbMessage* msg) {
  if (msg == nullptr) return nullptr;
  auto copy = std::make_unique<ZmbMessage>();
  for (const auto& frame : msg->_frames) {
    copy->_frames.push_back(ZmbMsgFrame::Dupe(*frame));
    ZmbMsgFrame* added = copy->_frames.back().get();
    if (added->GetType() == ZmbMsgFrame::DELIM) copy->_delim = added;
    if (added->GetType() == ZmbMsgFrame::DESCR) copy->_descr = added;
  }
  return copy.release();
}

void* ZmbMessage::GetPayload(int& len) const {
  return DataOf(_frames.empty() ? nullptr : _frames.back().get(), len);
}

ZmbMessage::Buffer ZmbMessage::GetPayload() const {
  return DataOf(_frames.empty() ? nullptr : _frames.back().get());
}

void* ZmbMessage::GetDescrValue(int& len) const { return DataOf(_descr, len); }

ZmbMessage::Buffer ZmbMessage::GetFrontFrameData() const {
  return DataOf(_frames.empty() ? nullptr : _frames.front().get());
}

int ZmbMessage::GetConnIdCount() const {
  const int count = GetFrameCount();
  if (count < 3) return count;
  return count - (_descr != nullptr ? 3 : 2);
}

std::vector<std::string> ZmbMessage::GetConnIdVect() const {
  std::vector<std::string> ids;
  for (int i = 0; i < GetConnIdCount(); ++i) {
    const auto [data, len] = DataOf(_frames[i].get());
    ids.emplace_back(static_cast<const char*>(data), len);
  }
  return ids;
}

int ZmbMessage::SetPayload(const void* data, int len) {
  if (len > limits::kFrameBytes) return -1;
  if (_frames.empty()) _frames.push_back(std::make_unique<ZmbMsgFrame>());
  return _frames.back()->Assign(data, len);
}

int ZmbMessage::SetPayload(const void* data, int len, int offset) {
  if (_frames.empty()) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.SetPayload frames=0/>\n");
    return -1;
  }
  if (data == nullptr) return 0;
  if (len < 0 || offset < 0) return -1;
  ZmbMsgFrame& frame = *_frames.back();
  const long long excess = static_cast<long long>(len) + offset - frame.Len();
  if (excess > 0) return -static_cast<int>(std::min<long long>(excess, INT_MAX));
  if (len > 0) std::memmove(static_cast<char*>(frame.Data()) + offset, data, len);
  return len;
}

void* ZmbMessage::ResizePayload(int len) {
  if (_frames.empty() || _frames.back()->Resize(len) != 0) return nullptr;
  return _frames.back()->Data();
}

void ZmbMessage::PushMsgFrame(const void* data, int len) {
  _frames.push_front(ZmbMsgFrame::Make(data, len, ZmbMsgFrame::UNTYPED));
}

void ZmbMessage::PopMsgFrame() {
  if (_frames.empty()) return;
  const ZmbMsgFrame* front = _frames.front().get();
  if (front == _delim) _delim = nullptr;
  if (front == _descr) _descr = nullptr;
  _frames.pop_front();
}

void ZmbMessage::Show(int level) const {
  if (!zmb_log.Wants(level)) return;
  int number = 0;
  for (const auto& frame : _frames) frame->Show(level, number++);
}

}  // namespace Common

// Any list of frames from the wire, received, read, changed and sent on.
#include <zmq.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "libs/zmb/src/zmb_message.h"

namespace {

using Common::ZmbMessage;
using Frames = std::vector<std::string>;

struct Wire {
  Wire() {
    zmq_bind(near, "inproc://wire");
    zmq_connect(far, "inproc://wire");
  }
  void* context = zmq_ctx_new();
  void* near = zmq_socket(context, ZMQ_PAIR);
  void* far = zmq_socket(context, ZMQ_PAIR);
};

/// Each frame is a length byte and that much of the input.
Frames Cut(const uint8_t* data, size_t size) {
  Frames frames;
  for (size_t at = 0; at < size;) {
    const size_t length = std::min<size_t>(data[at] & 15, size - at - 1);
    frames.emplace_back(reinterpret_cast<const char*>(data + at + 1), length);
    at += 1 + length;
  }
  return frames;
}

void Require(bool condition) {
  if (!condition) std::abort();
}

void SendFrames(void* sock, const Frames& frames) {
  for (size_t i = 0; i < frames.size(); ++i) {
    zmq_send(sock, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
  }
}

void RequireFrames(void* sock, const Frames& frames) {
  char buffer[64];
  for (size_t i = 0; i < frames.size(); ++i) {
    const int size = zmq_recv(sock, buffer, sizeof buffer, 0);
    Require(size >= 0 && frames[i] == std::string(buffer, size));
    int more = 0;
    size_t length = sizeof more;
    zmq_getsockopt(sock, ZMQ_RCVMORE, &more, &length);
    Require((more != 0) == (i + 1 < frames.size()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Wire wire;
  const Frames frames = Cut(data, size);
  if (frames.empty()) return 0;
  SendFrames(wire.far, frames);
  std::unique_ptr<ZmbMessage> msg(ZmbMessage::Recv(wire.near));
  if (frames.size() > ZmbMessage::kMaxFrames) {
    Require(msg == nullptr);
    return 0;
  }
  Require(msg != nullptr && msg->GetFrameCount() == static_cast<int>(frames.size()));

  const int ids = msg->GetConnIdCount();
  Require(ids >= 0 && ids <= msg->GetFrameCount());
  Require(msg->GetConnIdVect() == Frames(frames.begin(), frames.begin() + ids));
  const auto [payload, len] = msg->GetPayload();
  Require(std::string(static_cast<char*>(payload), len) == frames.back());

  // a copy loses its frames one by one
  const std::unique_ptr<ZmbMessage> copy(ZmbMessage::Dupe(msg.get()));
  Require((copy->GetDescriptorFrame() == nullptr) == (msg->GetDescriptorFrame() == nullptr));
  while (copy->GetFrameCount() > 0) {
    int descr_len = 0;
    copy->GetDescrValue(descr_len);
    copy->SetPayload(data, static_cast<int>(size % 7), static_cast<int>(size % 5));
    copy->PopMsgFrame();
  }
  Require(copy->GetDescriptorFrame() == nullptr);

  Require(ZmbMessage::Send(wire.near, msg.release()) == 0);
  RequireFrames(wire.far, frames);
  return 0;
}

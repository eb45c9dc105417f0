// The asking side of ZmbMessage: one request, one reply.
#include <cerrno>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_socket.h"

namespace Common {

namespace {

// As a poll, with its failures in the log.
int WaitForInput(void* sock, int timeout) {
  zmq_pollitem_t item{sock, 0, ZMQ_POLLIN, 0};
  const int ready = zmb_api::Poll(&item, 1, timeout);
  if (ready < 0) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.Send zmq_poll=-1 errno=%d/>\n", errno);
  } else if (ready == 0) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.Send zmq_poll=timeout/>\n");
  }
  return ready;
}

bool Matches(const ZmbMsgFrame* request, const ZmbMsgFrame* reply) {
  if (request == nullptr || reply == nullptr) return request == reply;
  return *request == *reply;
}

}  // namespace

ZmbMessage* ZmbMessage::Send(ZmbSocket* zs, ZmbMessage* msg, int& err, int timeout,
                             unsigned attempts) {
  err = -1;
  if (zs == nullptr || msg == nullptr) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.Send zs=%p msg=%p/>\n", static_cast<void*>(zs),
                  static_cast<void*>(msg));
    return nullptr;
  }
  bool outstanding = false;
  while (attempts > 0) {
    if (!outstanding) Send(zs->GetSocket(), Dupe(msg));
    outstanding = true;

    const int ready = WaitForInput(zs->GetSocket(), timeout);
    if (ready < 0) return nullptr;
    if (ready == 0) {
      zs->ReConnAll();
      outstanding = false;
      --attempts;
      continue;
    }
    std::unique_ptr<ZmbMessage> reply(Recv(zs->GetSocket()));
    if (!reply) return nullptr;
    if (Matches(msg->GetDescriptorFrame(), reply->GetDescriptorFrame())) {
      err = 0;
      return reply.release();
    }
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbMessage.Send descriptor mismatch />\n");
  }
  return nullptr;
}

ZmbMessage* ZmbMessage::RecvOnly(ZmbSocket* zs, int& err, int timeout) {
  err = -1;
  if (zs == nullptr || WaitForInput(zs->GetSocket(), timeout) <= 0) return nullptr;
  ZmbMessage* msg = Recv(zs->GetSocket());
  if (msg != nullptr) err = 0;
  return msg;
}

}  // namespace Common

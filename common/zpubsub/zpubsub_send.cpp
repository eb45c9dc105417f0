// The sending half of zpubsub.
#include <algorithm>
#include <chrono>
#include <iterator>

#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/zpubsub/records/relay_request.h"
#include "common/zpubsub/zpubsub.h"

namespace IMSG {

namespace {

constexpr int kLockTries = 40;
constexpr auto kLockWait = std::chrono::milliseconds(100);

}  // namespace

bool zpubsub::IsSendMessage() {
  const platform::Lock lock(pubsublock);
  if (sendmsg) return false;
  sendmsg = true;
  return true;
}

void zpubsub::CheckandLockSendMessage() {
  for (int i = 0; i < kLockTries; ++i) {
    if (IsSendMessage()) return;
    platform::Lock lock(pubsublock);
    if (sendmsg) zpubsubcond.wait_for(lock, kLockWait);
    Q5_LOG_DEBUG(zpubsubL, "try zpubsub %d \n", i);
  }
  Q5_LOG_ERROR(zpubsubL, "Fail: zpubsub sending message without locks \n");
}

void zpubsub::ResetSendFlag() {
  const platform::Lock lock(pubsublock);
  sendmsg = false;
  zpubsubcond.notify_one();
}

// The record is the sender's own, and the socket has a lock of its own: a message that goes without
// the flag mixes with no other.
int zpubsub::SendMessage(MessageId id, const Fill& fill) {
  CheckandLockSendMessage();
  IntPubSubMsg message = IntPubSubMsg::Make(id, module_);
  if (fill) fill(message);
  message.DoChkSum();
  int sent = -1;
  {
    const platform::Lock lock(publisher_mutex_);
    if (measpub) {
      sent = zmq_send(measpub.get(), &message, sizeof message, ZMQ_DONTWAIT);
    } else {
      Q5_LOG_ERROR(zpubsubL, "FAILED PUBLISHER: pubsub module %d %s \n", module_,
                   IMSG::GetMsgStr(id));
    }
  }
  Q5_LOG_DEBUG(zpubsubL, "sendmsg: pubsub %s rc %d\n", IMSG::GetMsgStr(id), sent);
  ResetSendFlag();
  return sent;
}

int zpubsub::SendRelays(MessageId id, int channel, const char* text) {
  relayack = false;
  Q5_LOG_INFO(zpubsubL, "%s", text);
  return SendMessage(id, [&](IntPubSubMsg& message) {
    const auto request = RelayRequest::Make(id == SETMESRLYMSG, channel, false);
    std::copy_n(request.GetData(), sizeof request, message.relayMsg);
  });
}

int zpubsub::SendSetRelays(int channel) {
  return SendRelays(SETMESRLYMSG, channel,
                    "Relays are about to be set from meas, setting ack flag to false\n");
}

int zpubsub::SendResetRelays(int channel) {
  return SendRelays(RESETMESRLYMSG, channel,
                    "Relays are about to be reset from meas, setting ack flag to false\n");
}

int zpubsub::SendEarlyDCDoneMessage() { return SendMessage(EARLYDCDONEMSG); }

int zpubsub::SendXMLPostResult(int result, int type) {
  return SendMessage(XMLPOSTMSG,
                     [&](IntPubSubMsg& message) { message.SetXMLPostRes(result, type, module_); });
}

int zpubsub::SendUploadDone() { return SendMessage(XMLUPLOADMSG); }

int zpubsub::SendLVSFilterRelayMSG(int state) {
  return SendMessage(LVSFILTERRELAYMSG,
                     [&](IntPubSubMsg& message) { message.relay6state = state; });
}

int zpubsub::SendTemp(int its_module, int assem, int i2caddr, int sensor, float temper) {
  return SendMessage(TEMPERMSG, [&](IntPubSubMsg& message) {
    message.module = its_module;
    message.assem = assem;
    message.i2cdevaddr = i2caddr;
    message.sensor = sensor;
    message.temper = temper;
  });
}

int zpubsub::SendServerStatus(bool ready) {
  return SendMessage(SENTSERVERSTATUSMSG,
                     [&](IntPubSubMsg& message) { message.serverstatus = ready ? 1 : 0; });
}

}  // namespace IMSG

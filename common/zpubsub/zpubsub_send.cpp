// The sending half of zpubsub.
#include <algorithm>
#include <chrono>
#include <iterator>

#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/zpubsub/records/relay_request.h"
#include "common/zpubsub/zpubsub.h"

namespace IMSG {

namespace {

constexpr int kLockTries = 40;
constexpr auto kLockWait = std::chrono::milliseconds(100);

struct SentEvent {
  MessageId id;
  Logger::eventtypes_t event;
};
constexpr SentEvent kSentEvents[] = {
    {UNFREEZEMSG, Logger::PSC_DCOFFSET_UNFREEZE},
    {UNMOUNTMSG, Logger::UNMOUNTEVENT},
    {FPESTOPMSG, Logger::FPESTOPEVENT},
    {RECOVERSOSMSG, Logger::SNDRECOVERSOS},
    {SOSESTOPMSG, Logger::SNDSOSESTOP},
    {SOSSSWITCHMSG, Logger::SNDSOSSSWITCH},
    {SOSACKSSWITCHMSG, Logger::SNDSOSACKSSWITCH},
    {RESETMSGMONITORTIMERMSG, Logger::SNDMSGMONITORRESET},
};

// The event's number is of use only where its form has one: the fault.
void CaptureSent(const IntPubSubMsg& message) {
  const int id = message.msgtype;  // a packed field takes no reference
  const auto* sent = std::ranges::find(kSentEvents, id, &SentEvent::id);
  if (sent == std::end(kSentEvents)) return;
  if (message.fpfault != 0) {
    Logger::Capture(sent->event, message.fpfault);
  } else {
    Logger::Capture(sent->event);
  }
}

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
  CaptureSent(message);
  message.DoChkSum();
  int sent = -1;
  {
    const platform::Lock lock(publisher_mutex_);
    if (publisher_) {
      sent = zmq_send(publisher_.get(), &message, sizeof message, ZMQ_DONTWAIT);
    } else {
      Q5_LOG_ERROR(zpubsubL, "FAILED PUBLISHER: pubsub module %d %s \n", module_,
                   IMSG::GetMsgStr(id));
    }
  }
  Q5_LOG_DEBUG(zpubsubL, "sendmsg: pubsub %s rc %d\n", IMSG::GetMsgStr(id), sent);
  ResetSendFlag();
  return sent;
}

int zpubsub::SendRelays(MessageId id, int channel) {
  relayack = false;
  return SendMessage(id, [&](IntPubSubMsg& message) {
    const auto request = RelayRequest::Make(id == SETMESRLYMSG || id == SETSRCRLYMSG, channel,
                                            module_ == Msg::SOURCE_MODULE);
    std::copy_n(request.GetData(), sizeof request, message.relayMsg);
  });
}

int zpubsub::SendSetRelays(int channel) {
  if (module_ == Msg::SOURCE_MODULE) return SendRelays(SETSRCRLYMSG, channel);
  Q5_LOG_INFO(zpubsubL, "Relays are about to be set from meas, setting ack flag to false\n");
  return SendRelays(SETMESRLYMSG, channel);
}

int zpubsub::SendResetRelays(int channel) {
  if (module_ == Msg::SOURCE_MODULE) return SendRelays(RESETSRCRLYMSG, channel);
  Q5_LOG_INFO(zpubsubL, "Relays are about to be reset from meas, setting ack flag to false\n");
  return SendRelays(RESETMESRLYMSG, channel);
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

// Messages that are their id only.
int zpubsub::SendUnMountCmd() { return SendMessage(UNMOUNTMSG); }
int zpubsub::SendUnfreezeMessage() { return SendMessage(UNFREEZEMSG); }
int zpubsub::SendRecoverSosMessage() { return SendMessage(RECOVERSOSMSG); }
int zpubsub::SendSOSSwitchReleaseMessage() { return SendMessage(SOSACKSSWITCHMSG); }
int zpubsub::SosConfigRecordMessage() { return SendMessage(SOSCONFIGRECORDMSG); }
int zpubsub::SendDFRRelaySetMessage() { return SendMessage(RELAY_REQUEST_SETMSG); }
int zpubsub::SendDFRRelayResetMessage() { return SendMessage(RELAY_REQUEST_RESETMSG); }
int zpubsub::SendLVSFilterACKMSG() { return SendMessage(LVSFILTERACKMSG); }
int zpubsub::SendEStopMessage() { return SendMessage(FPESTOPMSG); }
int zpubsub::SendResetMessageTrafficTimer() { return SendMessage(RESETMSGMONITORTIMERMSG); }
int zpubsub::SendLogForceRotate() { return SendMessage(LOGFORCEROTATEMSG); }
int zpubsub::SendStartProcessMSG() { return SendMessage(STARTPROCESSMSG); }
int zpubsub::EnquireSourceStatus() { return SendMessage(SOURCESTATUSENQUIRYMSG); }
int zpubsub::EnquireServerStatus() { return SendMessage(GETSERVERSTATUSMSG); }
int zpubsub::SendDFRRelaySetAckMessage() { return SendMessage(RELAY_REPLY_SETMSG); }
int zpubsub::SendDFRRelayResetAckMessage() { return SendMessage(RELAY_REPLY_RESETMSG); }

int zpubsub::SendLineFreqMessage(const m3x64_num& hertz) {
  return SendMessage(LINEFREQMSG, [&](IntPubSubMsg& message) { message.SetFrequency(hertz); });
}

int zpubsub::SendChanEventMessage(int event) {
  return SendMessage(CHANEVENTMSG, [&](IntPubSubMsg& message) { message.external_event = event; });
}

int zpubsub::SendSOSEStopMessage(int fault) {
  return SendMessage(SOSESTOPMSG, [&](IntPubSubMsg& message) { message.fpfault = fault; });
}

int zpubsub::SendSourceStatusInfo(bool status) {
  return SendMessage(SOURCESTATUSINFOMSG,
                     [&](IntPubSubMsg& message) { message.sourcestatus = status ? 1 : 0; });
}

int zpubsub::SendPFCBusVoltage(int volts) {
  return SendMessage(PFCBUSMSG, [&](IntPubSubMsg& message) { message.voltage = volts; });
}

int zpubsub::SendAckSOS(bool done) {
  return SendMessage(SOSACKMSG, [&](IntPubSubMsg& message) { message.relayAck = done ? 1 : 0; });
}

int zpubsub::SendAckMOS(bool done) {
  return SendMessage(MOSACKMSG, [&](IntPubSubMsg& message) { message.relayAck = done ? 1 : 0; });
}

int zpubsub::SendSafetySwitchReleased(int fpfault) {
  return SendMessage(SOSSSWITCHMSG, [&](IntPubSubMsg& message) { message.fpfault = fpfault; });
}

int zpubsub::SendDFRATZEROMSG(float hertz, int current_range, int voltage_range) {
  return SendMessage(DFRATZEROMSG, [&](IntPubSubMsg& message) {
    message.freqfloat = hertz;
    message.manualIrange = current_range;
    message.manualVrange = voltage_range;
  });
}

}  // namespace IMSG

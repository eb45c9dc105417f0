// Messages between the daemons of the three modules: one record each, published to everybody and
// never acknowledged by this layer.
//
//   senders -> zpubsub -> PUB socket of this module -> all SUB sockets of the instrument
//   7 SUB sockets -> pub/sub thread -> the reaction that the daemon has given for the id
//
// A peer that is missing at Init stays missing. One that comes back is connected again by the
// transport; what it said meanwhile is lost. A record of another length is logged and dropped.
//
// Threads: any thread may send; one message is composed at a time. Reactions run on the pub/sub
// thread one after the other, so each returns soon.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "common/zpubsub/records/int_pub_sub_msg.h"
#include "libs/zmb/src/zmb_api.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace IMSG {

/// Dotted addresses of the modules; empty where it is not known (yet).
struct ModuleAddresses {
  std::string main;
  std::string meas;
  std::string source;

  bool Complete() const { return !main.empty() && !meas.empty() && !source.empty(); }
};

class zpubsub {
 public:
  using Reaction = std::function<void(const IntPubSubMsg&)>;

  /// The process's own.
  static zpubsub& GetZPubSub();

  zpubsub() = default;
  ~zpubsub() { End(); }
  zpubsub(const zpubsub&) = delete;
  zpubsub& operator=(const zpubsub&) = delete;

  /// What this daemon does with a message; before Start. Others are ignored.
  void On(MessageId id, Reaction reaction) { reactions_[id] = std::move(reaction); }

  /// Opens the sockets of a `module` (MODULE_ID) in the context `ctx`, which outlives them. Asks
  /// for `addresses` once a second, up to 60 times, until all are known.
  /// -1 when this module's own publisher cannot be bound.
  int Init(void* ctx, int module, const std::function<ModuleAddresses()>& addresses);
  /// Starts the pub/sub thread and the log of the machine's memory. -1 without a thread.
  int Start();
  /// Ends the thread and closes the sockets; before the context ends.
  void End();

  /// The socket that messages leave by; null before Init and after End.
  void* GetPublisher() const { return publisher_.get(); }
  /// Of the message at hand, on the pub/sub thread.
  const char* GetMsgStr() const { return IMSG::GetMsgStr(msgtype); }

  /// Acts on one frame as the pub/sub thread does, after `log` has had its name and size. Bytes of
  /// another length than a message's are dropped.
  void Take(std::span<const std::uint8_t> frame, void (*log)(const char* text, int size) = nullptr);

  // --- Senders (zpubsub_send.cpp). What zmq_send returns: 111, or -1 ---

  // Of any module.
  /// A temperature in degrees C, with where it was measured.
  int SendTemp(int its_module, int assem, int i2caddr, int sensor, float temper);
  int SendServerStatus(bool ready);
  int SendUploadDone();
  int SendUnMountCmd();
  /// See IntPubSubMsg::SetXMLPostRes.
  int SendXMLPostResult(int result, int type);
  int SendLVSFilterRelayMSG(int state);

  // Of the measurement module.
  int SendEarlyDCDoneMessage();
  /// `channel` is 0 or 1. Both clear `relayack`, which the main module's answer sets.
  int SendSetRelays(int channel);
  int SendResetRelays(int channel);

  // Of the source module; its relay requests are as those of the measurement module.
  int SendUnfreezeMessage();
  int SendLineFreqMessage(const m3x64_num& hertz);
  /// The source is at zero; the next frequency in hertz, and the ranges that go with it.
  int SendDFRATZEROMSG(float hertz, int current_range, int voltage_range);
  int SendChanEventMessage(int event);
  int SendRecoverSosMessage();
  int SendSOSEStopMessage(int fault);
  int SendSOSSwitchReleaseMessage();
  int SendSourceStatusInfo(bool status);
  int SosConfigRecordMessage();
  int SendDFRRelaySetMessage();
  int SendDFRRelayResetMessage();

  // Of the main module.
  int SendPFCBusVoltage(int volts);
  int SendAckSOS(bool done);
  int SendAckMOS(bool done);
  int SendLVSFilterACKMSG();
  int SendEStopMessage();
  int SendSafetySwitchReleased(int fpfault);
  int SendResetMessageTrafficTimer();
  int SendLogForceRotate();
  int SendStartProcessMSG();
  int EnquireSourceStatus();
  int EnquireServerStatus();
  int SendDFRRelaySetAckMessage();
  int SendDFRRelayResetAckMessage();

  std::atomic<bool> relayack{false};  ///< the main module has done the last relay request

 private:
  struct Subscription {
    void (*log)(const char* text, int size);
    Common::zmb_api::Socket socket;
  };
  using Fill = std::function<void(IntPubSubMsg&)>;

  ModuleAddresses AwaitAddresses(const std::function<ModuleAddresses()>& addresses) const;
  int Publish(void* ctx);
  void Subscribe(void* ctx, const ModuleAddresses& addresses);

  void PubSubThreadFunction();
  void TendPublisher();
  void Receive(const Subscription& from);
  void PubSubHandle(const IntPubSubMsg& message);

  bool IsSendMessage();
  void CheckandLockSendMessage();
  void ResetSendFlag();
  int SendRelays(MessageId id, int channel);
  int SendMessage(MessageId id, const Fill& fill = {});

  int module_ = 0;
  std::map<int, Reaction> reactions_;

  platform::Mutex publisher_mutex_;
  Common::zmb_api::Socket publisher_;
  std::vector<Subscription> subscriptions_;  ///< of the pub/sub thread once it runs
  platform::UniqueFd stop_;
  std::thread pubsubthread;
  std::chrono::steady_clock::time_point tended_{};  ///< of the thread
  int msgtype = 0;

  platform::Mutex pubsublock;
  std::condition_variable zpubsubcond;
  bool sendmsg Q5_GUARDED_BY(pubsublock) = false;  ///< a message is being composed
};

}  // namespace IMSG

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

  /// Opens the sockets of the measurement module in the context `ctx`, which outlives them. Asks
  /// for `addresses` once a second, up to 60 times, until all are known; `module` is a MODULE_ID.
  /// -1 when this module's own publisher cannot be bound.
  int Init(void* ctx, int module, const std::function<ModuleAddresses()>& addresses);
  /// Starts the pub/sub thread and the log of the machine's memory. -1 without a thread.
  int Start();
  /// Ends the thread and closes the sockets; before the context ends.
  void End();

  /// The socket that messages leave by; null before Init and after End.
  void* GetPublisher() const { return measpub.get(); }
  /// Of the message at hand, on the pub/sub thread.
  const char* GetMsgStr() const { return IMSG::GetMsgStr(msgtype); }

  // --- Senders (zpubsub_send.cpp). What zmq_send returns: 111, or -1 ---

  int SendEarlyDCDoneMessage();
  /// `channel` is 0 or 1. Both clear `relayack`, which the main module's answer sets.
  int SendSetRelays(int channel);
  int SendResetRelays(int channel);
  /// See IntPubSubMsg::SetXMLPostRes.
  int SendXMLPostResult(int result, int type);
  int SendUploadDone();
  int SendLVSFilterRelayMSG(int state);
  /// A temperature in degrees C, with where it was measured.
  int SendTemp(int its_module, int assem, int i2caddr, int sensor, float temper);
  int SendServerStatus(bool ready);

  std::atomic<bool> relayack{false};  ///< the main module has done the last relay request

 private:
  struct Subscription {
    const char* what;
    Common::zmb_api::Socket socket;
  };
  using Fill = std::function<void(IntPubSubMsg&)>;

  ModuleAddresses AwaitAddresses(const std::function<ModuleAddresses()>& addresses) const;
  int Publish(void* ctx);
  void Subscribe(void* ctx, const ModuleAddresses& addresses);
  void SubscribeTo(void* ctx, const char* what, const std::string& address, int port,
                   const char* failure);

  void PubSubThreadFunction();
  void Receive(const Subscription& from);
  void PubSubHandle(const IntPubSubMsg& message);

  bool IsSendMessage();
  void CheckandLockSendMessage();
  void ResetSendFlag();
  int SendRelays(MessageId id, int channel, const char* text);
  int SendMessage(MessageId id, const Fill& fill = {});

  int module_ = 0;
  std::map<int, Reaction> reactions_;

  platform::Mutex publisher_mutex_;
  Common::zmb_api::Socket measpub;
  std::vector<Subscription> subscriptions_;  ///< of the pub/sub thread once it runs
  platform::UniqueFd stop_;
  std::thread pubsubthread;
  int msgtype = 0;

  platform::Mutex pubsublock;
  std::condition_variable zpubsubcond;
  bool sendmsg Q5_GUARDED_BY(pubsublock) = false;  ///< a message is being composed
};

}  // namespace IMSG

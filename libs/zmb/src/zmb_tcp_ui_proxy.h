// A servant between the adapters of TCP clients, in this process, and one back end.
//
// An adapter has two ends on the front socket: one puts messages in under an identity that ends in
// 'i', the other gets messages out under the same identity ending in 'o'. Making the adapters and
// their listener is the business of whoever runs the proxy: they connect to GetInUri and GetOutUri
// in the context of GetZmqCtx.
#pragma once

#include <memory>
#include <string>

#include "libs/zmb/src/zmb_front_end.h"
#include "libs/zmb/src/zmb_servant.h"

namespace Servant {

class ZmbTcpUiProxy : public ZmbServant, public Common::ZmbFrontEnd {
 public:
  /// `be_id`: identity of the back end, which listens on "/tmp/BE_ID.ipc".
  explicit ZmbTcpUiProxy(std::string be_id) : _be_id(std::move(be_id)) {}

  /// -1 also for an invalid back-end identity or one that cannot be connected.
  int Init() override;
  int Start() override;
  /// A front message as HandleFe gets it: 1 if it is an answer, else 0. It stays the caller's.
  int Handle(Common::ZmbMessage* msg) final;

  void SetFeUris() override;
  /// 0 or -1.
  virtual int SetBeUris();  // NOLINT(bugprone-virtual-near-miss)

  // The message stays the loop's in both.
  /// True: the message, as it is now, is the answer and returns to the adapter's output. False:
  /// it is passed to the back end.
  virtual bool HandleFe(Common::ZmbMessage* msg) = 0;
  /// A message of the back end, its identity in front, on the way to the adapter's output.
  virtual void HandleBe(Common::ZmbMessage* msg) = 0;

  const std::string& GetInUri() const { return _izuri; }
  const std::string& GetOutUri() const { return _ozuri; }

 protected:
  std::unique_ptr<Common::ZmbSocket> _sockbe;
  std::string _be_id;
  std::string _izuri;  ///< of the adapters' input ends
  std::string _ozuri;  ///< of their output ends

 private:
  void ServeFront(std::unique_ptr<Common::ZmbMessage> msg);
  void ServeBack(std::unique_ptr<Common::ZmbMessage> msg);
  void SendToOutput(std::unique_ptr<Common::ZmbMessage> msg);
};

}  // namespace Servant

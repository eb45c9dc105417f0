// A servant between clients and several back ends: a front router that clients reach, and a back
// router that connects to the services. Which service a message goes to is the derived class's
// choice.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "libs/zmb/src/zmb_front_end.h"
#include "libs/zmb/src/zmb_servant.h"

namespace Servant {

class ZmbMsgBroker : public ZmbServant, public Common::ZmbFrontEnd {
 public:
  static constexpr short kDefaultFeTcpPort = 3086;

  ZmbMsgBroker() { SetDefFeTcpPort(kDefaultFeTcpPort); }

  int Init() override;
  int Start() override;
  /// A front message as HandleFe gets it; takes the message over.
  int Handle(Common::ZmbMessage* msg) final;

  /// Adds the back ends, with the AddBe functions; called by Init after the front is bound.
  virtual void SetBeUris() = 0;  // NOLINT(bugprone-virtual-near-miss)

  // Both own their message: SendToBe, SendToFe, or drop it.
  /// A client's message, the client's identity in front.
  virtual void HandleFe(std::unique_ptr<Common::ZmbMessage> msg) = 0;
  /// A service's message without the service's identity, so that it can go out at the front as it
  /// is.
  virtual void HandleBe(std::unique_ptr<Common::ZmbMessage> msg) = 0;

  // Connect the back socket to a service, known by its identity. The results are those of
  // ZmbSocket::ConnLink; a service may be reached by several URIs.
  using LinkResult = Common::ZmbSocket::LinkResult;
  /// Without a path: "/tmp/SERVICE.ipc".
  LinkResult AddBeIpcLink(const std::string& service, const char* path = nullptr);
  /// Without a host: this module.
  LinkResult AddBeTcpLink(const std::string& service, short port, const char* host = nullptr);
  /// A whole "tcp://HOST:PORT".
  LinkResult AddBeTcpUriS(const std::string& service, const std::string& uri);
  /// One port on several hosts; 0, or minus the number of those that failed.
  int AddBeTcpLinks(const std::string& service, short port, const std::vector<std::string>& hosts);

 protected:
  /// True if the service is known; else the message is dropped with a line in the log.
  bool SendToBe(const std::string& service, std::unique_ptr<Common::ZmbMessage> msg);
  void SendToFe(std::unique_ptr<Common::ZmbMessage> msg);

  std::unique_ptr<Common::ZmbSocket> _sockbe;
  std::map<std::string, std::vector<std::string>> _backends;  ///< URIs by service identity

 private:
  LinkResult AddBe(const std::string& service, const Common::ZmbUri& uri);
};

}  // namespace Servant

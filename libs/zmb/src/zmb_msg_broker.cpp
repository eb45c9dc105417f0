#include "libs/zmb/src/zmb_msg_broker.h"

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_serve.h"

namespace Servant {

using Common::zmb_log;
using Common::ZmbMessage;
using Common::ZmbSocket;
using Common::ZmbUri;

int ZmbMsgBroker::Init() {
  if (_hasInit) return 0;
  ZmbServant::Init();
  if (OpenFrontEnd(GetZmqCtx(), _zmb_id) != 0) {
    _hasInit = false;
    return -1;
  }
  _sockbe = std::make_unique<ZmbSocket>(GetZmqCtx(), ZmbSocket::kRouter, &_zmb_id.GetStr());
  SetBeUris();
  return 0;
}

int ZmbMsgBroker::Start() {
  if (ZmbServant::Start() != 0) return -1;
  const auto front = [this](std::unique_ptr<ZmbMessage> msg) {
    msg->Show(Common::ZMB_DEBUG);
    Handle(msg.release());
  };
  const auto back = [this](std::unique_ptr<ZmbMessage> msg) {
    msg->PopMsgFrame();
    HandleBe(std::move(msg));
  };
  Common::Serve({{_sockfe.get(), front}, {_sockbe.get(), back}}, _running);
  return 0;
}

int ZmbMsgBroker::Handle(ZmbMessage* msg) {
  HandleFe(std::unique_ptr<ZmbMessage>(msg));
  return 0;
}

ZmbMsgBroker::LinkResult ZmbMsgBroker::AddBe(const std::string& service, const ZmbUri& uri) {
  LinkResult result = _sockbe->ConnLink(uri, true);
  if (result.second == 0) _backends[service].push_back(result.first);
  return result;
}

ZmbMsgBroker::LinkResult ZmbMsgBroker::AddBeIpcLink(const std::string& service, const char* path) {
  return AddBe(service, Common::IpcUri(path, service));
}

ZmbMsgBroker::LinkResult ZmbMsgBroker::AddBeTcpLink(const std::string& service, short port,
                                                    const char* host) {
  return AddBe(service, Common::TcpUri(port, host));
}

ZmbMsgBroker::LinkResult ZmbMsgBroker::AddBeTcpUriS(const std::string& service,
                                                    const std::string& uri) {
  return AddBe(service, ZmbUri(uri));
}

int ZmbMsgBroker::AddBeTcpLinks(const std::string& service, short port,
                                const std::vector<std::string>& hosts) {
  int failed = 0;
  for (const std::string& host : hosts) {
    if (AddBeTcpLink(service, port, host.c_str()).second != 0) ++failed;
  }
  return -failed;
}

bool ZmbMsgBroker::SendToBe(const std::string& service, std::unique_ptr<ZmbMessage> msg) {
  if (_backends.count(service) == 0) {
    zmb_log.Print(Common::ZMB_WARN, "<warn func=ZmbMsgBroker.SendToBe service=%s/>\n",
                  service.c_str());
    return false;
  }
  msg->PushMsgFrame(service.data(), static_cast<int>(service.size()));
  ZmbMessage::Send(_sockbe->GetSocket(), msg.release());
  return true;
}

void ZmbMsgBroker::SendToFe(std::unique_ptr<ZmbMessage> msg) {
  ZmbMessage::Send(_sockfe->GetSocket(), msg.release());
}

}  // namespace Servant

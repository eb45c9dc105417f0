#include "libs/zmb/src/zmb_tcp_ui_proxy.h"

#include <cstdio>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_serve.h"

namespace Servant {

using Common::zmb_log;
using Common::ZmbMessage;
using Common::ZmbSocket;

namespace {

// An adapter names its ends after its own identity and the text behind the last dot here.
constexpr char kInSuffix[] = ".i";
constexpr char kOutSuffix[] = ".o";

void Trace(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

}  // namespace

int ZmbTcpUiProxy::Init() {
  if (_hasInit) return 0;
  ZmbServant::Init();
  int result = OpenFrontEnd(GetZmqCtx(), _zmb_id);
  if (result == 0) {
    _sockbe = std::make_unique<ZmbSocket>(GetZmqCtx(), ZmbSocket::kRouter, &_zmb_id.GetStr());
    result = SetBeUris();
  }
  if (result == 0) return 0;
  _sockbe.reset();
  _sockfe.reset();
  _hasInit = false;
  return -1;
}

void ZmbTcpUiProxy::SetFeUris() {
  const std::string path = "/" + GetZidStr();  // a well-formed inproc path has a slash
  _izuri = _sockfe->AddLink(Common::INPROC, (path + kInSuffix).c_str()).first;
  _ozuri = _sockfe->AddLink(Common::INPROC, (path + kOutSuffix).c_str()).first;
}

int ZmbTcpUiProxy::SetBeUris() {
  const Common::ZmbID id(_be_id);
  if (!id.IsValid()) {
    zmb_log.Print(Common::ZMB_ERROR, "<panic func=ZmbTcpUiProxy.SetBeUris id=%s/>\n",
                  _be_id.c_str());
    return -1;
  }
  return _sockbe->ConnLink(Common::IpcUri(nullptr, id.GetStr()), true).second == 0 ? 0 : -1;
}

int ZmbTcpUiProxy::Start() {
  if (ZmbServant::Start() != 0) return -1;
  const auto front = [this](std::unique_ptr<ZmbMessage> msg) { ServeFront(std::move(msg)); };
  const auto back = [this](std::unique_ptr<ZmbMessage> msg) { ServeBack(std::move(msg)); };
  Common::Serve({{_sockfe.get(), front}, {_sockbe.get(), back}}, _running);
  return 0;
}

int ZmbTcpUiProxy::Handle(ZmbMessage* msg) { return HandleFe(msg) ? 1 : 0; }

void ZmbTcpUiProxy::ServeFront(std::unique_ptr<ZmbMessage> msg) {
  Trace("<ZmbTcpUiProxy func=Start end=front recv=msg/>");
  if (Handle(msg.get()) != 0) {
    SendToOutput(std::move(msg));
    return;
  }
  Trace(("<ZmbTcpUiProxy func=Start fwd=" + _be_id + "/>").c_str());
  // The back socket is a router: it finds the back end by the front frame, which it takes off.
  msg->PushMsgFrame(_be_id.data(), static_cast<int>(_be_id.size()));
  ZmbMessage::Send(_sockbe->GetSocket(), msg.release());
}

void ZmbTcpUiProxy::ServeBack(std::unique_ptr<ZmbMessage> msg) {
  Trace("<ZmbTcpUiProxy func=Start end=back recv=msg/>");
  HandleBe(msg.get());
  msg->PopMsgFrame();
  SendToOutput(std::move(msg));
}

void ZmbTcpUiProxy::SendToOutput(std::unique_ptr<ZmbMessage> msg) {
  const auto [data, len] = msg->GetFrontFrameData();
  if (len > 0) static_cast<char*>(data)[len - 1] = 'o';
  ZmbMessage::Send(_sockfe->GetSocket(), msg.release());
}

}  // namespace Servant

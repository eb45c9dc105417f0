#include "libs/zmb/src/zmb_front_end.h"

#include <cassert>
#include <cstdint>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_util.h"

namespace Common {

ZmbUri TcpUri(short port, const char* host) {
  assert(port != 0);
  const std::string address = host != nullptr && *host != '\0' ? host : HostIpAddr();
  return ZmbUri(TCP, address + ":" + ToString(static_cast<uint16_t>(port)));
}

ZmbUri IpcUri(const char* path, const std::string& identity) {
  return ZmbUri(IPC, path != nullptr && *path != '\0' ? path : "/tmp/" + identity + ".ipc");
}

ZmbSocket::LinkResult ZmbFrontEnd::AddFeTcpLink(short port, const char* host) {
  return _sockfe->AddLink(TcpUri(port, host), 0, ZmbEndPoint::NONE);
}

ZmbSocket::LinkResult ZmbFrontEnd::AddFeTcpLink(short port, const std::string& host) {
  return AddFeTcpLink(port, host.c_str());
}

ZmbSocket::LinkResult ZmbFrontEnd::AddFeIpcLink(const char* path) {
  return _sockfe->AddLink(IpcUri(path, *_sockfe->GetId()), 0, ZmbEndPoint::NONE);
}

ZmbSocket::LinkResult ZmbFrontEnd::AddFeIpcLink(const std::string& path) {
  return AddFeIpcLink(path.c_str());
}

int ZmbFrontEnd::OpenFrontEnd(void* context, const ZmbID& id) {
  _sockfe = std::make_unique<ZmbSocket>(context, ZmbSocket::kRouter, &id.GetStr());
  SetFeUris();
  if (_sockfe->NumLinks() == 0) {
    if (_fe_tcp_port != 0) AddFeTcpLink(_fe_tcp_port);
    if (_fe_ipc_link) AddFeIpcLink();
  }
  const int result = _sockfe->BindLinks();
  _sockfe->ShowLinks(result == 0 ? ZMB_DEBUG : ZMB_ERROR);  // the errno of each, when it is needed
  if (result != 0) _sockfe.reset();
  return result;
}

}  // namespace Common

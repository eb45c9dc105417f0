#include "libs/zmb/src/zmb_socket.h"

#include <cassert>
#include <cerrno>
#include <cstring>

#include "libs/zmb/src/zmb_address.h"
#include "libs/zmb/src/zmb_log.h"

namespace Common {

namespace {

// Both return 0 or the errno of the failure, which they log.

int BindUri(void* socket, const std::string& uri) {
  const std::string address = MachineAddress(uri);
  int error = 0;
  if (IpcInUse(address)) {
    error = EADDRINUSE;
  } else if (zmb_api::Bind(socket, address.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) {
    zmb_log.Print(ZMB_ERROR, "<panic func=ZmbSocket.BindLinks zmq_bind_err=%d/>\n", error);
  }
  return error;
}

int ConnectUri(void* socket, const std::string& uri) {
  if (zmb_api::Connect(socket, MachineAddress(uri).c_str()) == 0) return 0;
  const int error = errno;
  zmb_log.Print(ZMB_ERROR, "<panic func=ZmbSocket.ConnLinks zmq_connect_err=%d/>\n", error);
  return error;
}

}  // namespace

ZmbSocket::ZmbSocket(void* ctx, int type, const std::string* id)
    : _ctxt(ctx), _type(type), _id(id != nullptr ? new std::string(*id) : nullptr) {
  assert(ctx != nullptr);
  assert(type >= ZMQ_PUB && type <= ZMQ_XSUB);
  Open();
}

ZmbSocket::~ZmbSocket() = default;

void ZmbSocket::Open() {
  _sock = zmb_api::OpenSocket(_ctxt, _type);
  assert(_sock != nullptr);
  if (_id && zmb_api::SetIdentity(_sock.get(), _id->data(), _id->size()) != 0) {
    zmb_log.Print(ZMB_WARN, "<warn func=ZmbSocket.Open id=%s zmq_setsockopt_err=%d/>\n",
                  _id->c_str(), errno);
  }
}

ZmbSocket::LinkResult ZmbSocket::AddLink(protocol prot, const char* path) {
  return AddLink(ZmbUri(prot, path != nullptr ? path : ""), 0, ZmbEndPoint::NONE);
}

ZmbSocket::LinkResult ZmbSocket::AddLink(const ZmbUri& uri, int stat, int mode) {
  assert(mode >= ZmbEndPoint::NONE && mode <= ZmbEndPoint::CONNECTED);
  if (uri.prot == NPROT) return {"", MALFORMED_URI};
  auto [link, added] = _links.try_emplace(uri.uri);
  if (added) link->second = ZmbEndPoint::Create(uri, stat, mode);
  return {link->first, link->second->_mode};
}

int ZmbSocket::MakeLink(ZmbEndPoint& link, Step step, int mode) {
  link._stat = step(_sock.get(), link._zuri.uri);
  link._mode = link._stat == 0 ? mode : ZmbEndPoint::NONE;
  return link._stat == 0 ? 0 : -1;
}

int ZmbSocket::MakeLinks(Step step, int mode) {
  int result = 0;
  for (auto& [uri, link] : _links) {
    if (link->_mode == ZmbEndPoint::NONE && MakeLink(*link, step, mode) != 0) result = -1;
  }
  return result;
}

int ZmbSocket::BindLinks() { return MakeLinks(BindUri, ZmbEndPoint::BOUND); }

int ZmbSocket::BindLinks(const char* port) {
  const std::string address = std::string("tcp://*:") + (port != nullptr ? port : "");
  const int ret = zmb_api::Bind(_sock.get(), address.c_str());
  zmb_log.Print(ZMB_NOTICE, "%s.%d: zmq_bind(sock:%p) ipPort:%s ret:%d %s\n", __func__, __LINE__,
                _sock.get(), address.c_str(), ret, ret == 0 ? "" : strerror(errno));
  return ret;
}

int ZmbSocket::ConnLinks() { return MakeLinks(ConnectUri, ZmbEndPoint::CONNECTED); }

ZmbSocket::LinkResult ZmbSocket::ConnLink(const ZmbUri& uri, bool add) {
  if (uri.prot == NPROT) return {"", MALFORMED_URI};
  const auto known = _links.find(uri.uri);
  if (known != _links.end()) {
    ZmbEndPoint& link = *known->second;
    const bool failed =
        link._mode == ZmbEndPoint::NONE && MakeLink(link, ConnectUri, ZmbEndPoint::CONNECTED) != 0;
    return {uri.uri, failed ? CONN_KNOWN_FAILED : 0};
  }
  if (ConnectUri(_sock.get(), uri.uri) != 0) return {uri.uri, CONN_NEW_FAILED};
  if (add) AddLink(uri, 0, ZmbEndPoint::CONNECTED);
  return {uri.uri, 0};
}

ZmbSocket::LinkResult ZmbSocket::ConnLink(std::pair<void*, int> path, protocol prot, bool add) {
  if (path.first == nullptr || path.second <= 0) return {"", MALFORMED_URI};
  const std::string_view text(static_cast<const char*>(path.first), path.second);
  return ConnLink(ZmbUri(prot, text), add);
}

ZmbSocket::LinkResult ZmbSocket::ConnLink(const std::string& uri, bool check, bool add) {
  const ZmbUri checked(uri);
  if (check || checked.prot != NPROT) return ConnLink(checked, add);
  return {uri, ConnectUri(_sock.get(), uri) == 0 ? 0 : CONN_NEW_FAILED};
}

int ZmbSocket::ReConnAll() {
  zmb_api::SetLinger(_sock.get(), 0);
  _sock.reset();
  zmb_log.Print(ZMB_INFO, "closing the named pipe\n");
  Open();
  for (auto& [uri, link] : _links) link->_mode = ZmbEndPoint::NONE;
  return ConnLinks();
}

void ZmbSocket::ShowLinks(int level) const {
  if (!zmb_log.Wants(level)) return;
  static constexpr const char* kMark[] = {"uri=", "bind=", "conn="};  // by mode
  zmb_log.Print(level, "<sock links=%d>\n", NumLinks());
  for (const auto& [uri, link] : _links) {
    zmb_log.Print(level, "<link %s%s stat=%d mode=%d/>\n", kMark[link->_mode], uri.c_str(),
                  link->_stat, link->_mode);
  }
  zmb_log.Print(level, "</sock>\n");
}

}  // namespace Common

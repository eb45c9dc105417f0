// The front socket of a server: a router with the server's identity, and where it listens.
// Servants and workers with a front socket derive from it.
#pragma once

#include <memory>
#include <string>

#include "libs/zmb/src/zmb_id.h"
#include "libs/zmb/src/zmb_socket.h"

namespace Common {

class ZmbFrontEnd {
 public:
  ZmbFrontEnd(const ZmbFrontEnd&) = delete;
  ZmbFrontEnd& operator=(const ZmbFrontEnd&) = delete;

  /// The subclass's own choice of links, made with the two Add functions; called by Init. One that
  /// adds none gets the default ones: TCP if there is a default port, IPC if `_fe_ipc_link`.
  virtual void SetFeUris() = 0;

  /// 0 for none. Ports above 32767 are given as the short of the same bits.
  void SetDefFeTcpPort(short port) { _fe_tcp_port = port; }
  short GetDefFeTcpPort() const { return _fe_tcp_port; }

  /// Adds "tcp://HOST:PORT"; without a host (null or empty) this module's address. `port` is not 0.
  ZmbSocket::LinkResult AddFeTcpLink(short port, const char* host = nullptr);
  ZmbSocket::LinkResult AddFeTcpLink(short port, const std::string& host);
  /// Adds "ipc://PATH"; without a path (null or empty) "/tmp/IDENTITY.ipc".
  ZmbSocket::LinkResult AddFeIpcLink(const char* path = nullptr);
  ZmbSocket::LinkResult AddFeIpcLink(const std::string& path);

 protected:
  ZmbFrontEnd() = default;
  virtual ~ZmbFrontEnd() = default;

  /// Makes the socket, has its links chosen, and binds them. -1 if one could not be bound; then
  /// there is no socket.
  int OpenFrontEnd(void* context, const ZmbID& id);

  std::unique_ptr<ZmbSocket> _sockfe;
  short _fe_tcp_port = 0;
  bool _fe_ipc_link = true;
};

/// "tcp" URI of a port of a host; null or empty: this module. Used for both directions.
ZmbUri TcpUri(short port, const char* host);
/// "ipc" URI of the path; null or empty: "/tmp/IDENTITY.ipc".
ZmbUri IpcUri(const char* path, const std::string& identity);

}  // namespace Common

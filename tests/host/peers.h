// Peers that play the daemon: a router socket for the bus, a TCP listener for the host's port. Both
// are made without the bus library and the host library that they are there to test.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/common/msg/records/wire.h"
#include "tests/libs/zmb/peer.h"

namespace test {

/// A record as q5host sends it and a daemon answers it: without addresses.
inline Bytes Record(int opcode, const Bytes& payload = {}) {
  return WireRecord(opcode, payload, 0, 0);
}

/// What a peer sends when it has got a request.
using Script = std::function<std::vector<Bytes>(const Bytes& request)>;

class RouterPeer {
 public:
  /// Binds `uri`; a TCP port of "*" is a free one. The replies carry the request's frames.
  RouterPeer(const std::string& uri, Script script);
  ~RouterPeer();
  RouterPeer(const RouterPeer&) = delete;
  RouterPeer& operator=(const RouterPeer&) = delete;

  const std::string& uri() const { return uri_; }

 private:
  void Serve(const Script& script);

  void* context_;
  std::optional<zmb_test::Peer> socket_;
  std::string uri_;
  std::thread thread_;
};

class TcpPeer {
 public:
  /// Listens at a dotted address. A reply of no bytes closes the connection.
  TcpPeer(const std::string& address, int port, Script script);
  ~TcpPeer();
  TcpPeer(const TcpPeer&) = delete;
  TcpPeer& operator=(const TcpPeer&) = delete;

  std::string uri() const;

 private:
  void Serve(const Script& script);
  void Converse(int connection, const Script& script);

  std::string address_;
  int port_;
  int listener_;
  std::thread thread_;
};

}  // namespace test

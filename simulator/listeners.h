// Listening sockets.
#pragma once

#include <cstdint>
#include <string>

#include "platform/unique_fd.h"

namespace simulator {

/// A listening Unix socket of `type` (SOCK_STREAM, SOCK_SEQPACKET) at `path`, in place of one that
/// a killed q5sim left there; unlinks it when destroyed. The caller holds the root's lock.
class UnixListener {
 public:
  UnixListener() = default;
  UnixListener(const UnixListener&) = delete;
  UnixListener& operator=(const UnixListener&) = delete;
  ~UnixListener();

  /// Empty when it listens, else the reason.
  std::string Listen(const std::string& path, int type);
  int Get() const { return socket_.Get(); }

 private:
  std::string path_;
  platform::UniqueFd socket_;
};

/// 0 or an errno.
int ListenTcp(const std::string& address, std::uint16_t port, platform::UniqueFd& socket);
/// True when somebody takes connections there; for an address of this machine.
bool AnswersTcp(const std::string& address, std::uint16_t port);

}  // namespace simulator

// Accepts connections and gives each a thread of its own.
#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <thread>

#include "platform/unique_fd.h"

namespace simulator {

class Acceptor {
 public:
  /// Serves one connection until it ends; `socket` is blocking and closed by the acceptor. When the
  /// acceptor stops it shuts the socket down, upon which the function must return soon.
  using Serve = std::function<void(int socket)>;

  /// `listener` stays the caller's and must be non-blocking. More than `most` connections at a time
  /// are closed at once.
  Acceptor(int listener, std::size_t most, Serve serve);
  /// Ends every connection and joins every thread.
  ~Acceptor();
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;

 private:
  struct Connection {
    platform::UniqueFd socket;
    std::atomic<bool> ended{false};
    std::thread thread;
  };

  void Run();
  void Accept();
  void ReapEnded();

  const int listener_;
  const std::size_t most_;
  const Serve serve_;
  const platform::UniqueFd stop_;
  std::list<Connection> connections_;  ///< of the accepting thread, and of the destructor after it
  std::thread thread_;
};

}  // namespace simulator

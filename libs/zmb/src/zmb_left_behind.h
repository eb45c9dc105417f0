// What closed connections have left behind. libzmq keeps the session, the pipes and the unread
// messages of each until the thread that reads its socket comes back to it. While that thread is at
// one slow request, peers that connect, ask and leave would fill all memory.
//
// libzmq does not tell when it is rid of a connection. But a socket that has been found empty has
// nothing left of any that closed before; nor has one of which so many messages have been read
// since that each connection had its turns.
//
// Threads: guarded by its owner.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <unordered_map>

namespace Common {

class ZmbLeftBehind {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Socket = const void*;  ///< a server's; only its address is used

  /// From Open to Close the socket is read; of any other nothing is known, nor counted.
  void Open(Socket socket, Time now) { readers_.try_emplace(socket, Reader{.since = now}); }
  void Close(Socket socket) { readers_.erase(socket); }

  // What its thread does.
  void FoundEmpty(Socket socket);
  void BeginsToWait(Socket socket);
  void EndsToWait(Socket socket, Time now);
  void HasRead(Socket socket);

  /// A connection of the socket has closed.
  void Add(Socket socket, std::uint32_t peer);
  /// Whether all that came to the socket until `time` has been read.
  bool IsReadUntil(Socket socket, Time time) const;

  /// Calls `use` with the peer of each connection of which something may be left.
  template <class Use>
  void ForEach(Use use) const {
    for (const auto& [socket, reader] : readers_) {
      for (const Left& left : reader.left) use(left.peer);
    }
  }

 private:
  struct Left {
    std::uint32_t peer;
    std::uint64_t reads;  ///< of its reader, when it closed
  };
  struct Reader {
    Time since;  ///< it waited until then
    bool waits = false;
    std::uint64_t reads = 0;
    std::deque<Left> left{};  ///< in the order of time
  };

  Reader* Find(Socket socket);

  std::unordered_map<Socket, Reader> readers_;
};

}  // namespace Common

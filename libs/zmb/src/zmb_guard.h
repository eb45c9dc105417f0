// Who may be connected to the bus, and how much a peer may send: one table of all connections that
// the process has accepted.
//
// libzmq accepts every connection, asks who the peer is only after its handshake, and keeps every
// part of a message until the last has come. So a peer could take all descriptors and all memory of
// the process, and with them the measurement. This guard therefore is below libzmq, at the
// system calls by which libzmq gets its connections and their bytes (zmb_calls.cpp): there nothing
// passes it, whatever the threads above are doing at that moment.
//
// A connection has its place until nothing of it is left in the process (ZmbLeftBehind). For that
// the guard is told what the threads do that read the servers' sockets.
//
// Threads: any.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>

#include "libs/zmb/src/zmb_left_behind.h"
#include "libs/zmb/src/zmb_stream_watch.h"
#include "platform/thread_safety.h"

namespace Common {

class ZmbGuard {
 public:
  /// IPv4 addresses as numbers; 0 for both on a connection within the machine (ipc).
  struct Ends {
    std::uint32_t peer = 0;
    std::uint32_t own = 0;
  };

  using Time = ZmbLeftBehind::Time;
  using Socket = ZmbLeftBehind::Socket;

  static ZmbGuard& Instance();

  explicit ZmbGuard(Time (*now)() = &std::chrono::steady_clock::now) : now_(now) {}

  /// What `listener` accepts is read by `socket`, or, of one that publishes, heard by its peers.
  void Listens(int listener, Socket socket, bool publishes = false);
  void SocketClosed(Socket socket);

  // What the thread of a socket does; nothing for one that does not listen.

  /// It waits as long as this object lives. The socket was found empty before.
  class Waiting {
   public:
    explicit Waiting(Socket socket);
    ~Waiting();
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

   private:
    const Socket socket_;
  };
  void FoundEmpty(Socket socket);
  void BeginsToWait(Socket socket);
  void EndsToWait(Socket socket);
  /// One message.
  void HasRead(Socket socket);

  // What connections do.

  /// A connection that `listener` just accepted. False: it is to be closed. Admitted are peers
  /// within the machine, of the loopback and of the net in which they reached this module.
  /// Connections whose handshake takes too long are shut down first; where no place is left, so is
  /// one that has been idle for long.
  bool Admit(int fd, const Ends& ends, int listener = -1);
  /// As Admit, with the ends that the connection itself names.
  bool Admit(int fd, int listener);
  /// A connection that this process makes. It takes no place, but what comes is followed, too.
  void Connects(int fd);
  /// Bytes that a connection brought. False: it is to be closed. True for one that is unknown.
  bool Received(int fd, std::span<const std::uint8_t> bytes);
  void Closed(int fd);
  /// Whether `fd` may be one of the table; without a lock, for a close of any file whatever.
  static bool MayBeConnection(int fd) {
    if (fd < 0 || fd >= kMarks) return fd >= 0;
    return marks_[static_cast<std::size_t>(fd)].load(std::memory_order_relaxed);
  }

 private:
  static constexpr int kMarks = 4096;

  static void Mark(int fd, bool connection) {
    if (fd >= 0 && fd < kMarks) marks_[static_cast<std::size_t>(fd)] = connection;
  }

  static inline std::array<std::atomic<bool>, kMarks> marks_{};

  enum class Role : std::uint8_t {
    kAsks,        ///< of a peer that is served
    kSubscribes,  ///< of one that hears what is published
    kOutgoing,
  };

  struct Connection {
    Role role;
    std::uint32_t peer;
    Socket socket;  ///< at this end, null when that is not known
    Time since;
    Time last = since;  ///< that a message came
    std::size_t bytes = 0;
    ZmbStreamWatch watch{};
    bool named = false;  ///< the handshake is over
    bool ended = false;  ///< by this guard; libzmq has not closed it yet
  };

  /// An end of connections by the guard, which is logged.
  struct Ended {
    const char* reason;
    std::uint32_t peer;
  };
  struct Places {
    int same = 0;  ///< of one address
    int tcp = 0;
  };
  struct Listener {
    Socket socket;
    bool publishes;
  };

  // Each: null, or why not.
  const char* RefusalOf(int fd, const Ends& ends) const Q5_REQUIRES(mutex_);
  const char* FindPlace(std::uint32_t peer, std::optional<Ended>& ended) Q5_REQUIRES(mutex_);
  const char* Follow(Connection& connection, std::span<const std::uint8_t> bytes) const
      Q5_REQUIRES(mutex_);
  Places PlacesInUse(std::uint32_t peer) const Q5_REQUIRES(mutex_);
  // Both: one that was ended.
  std::optional<Ended> EndOverdue() Q5_REQUIRES(mutex_);
  static void End(int fd, Connection& connection);
  template <class Match>
  std::optional<Ended> EndIdlest(Match match) Q5_REQUIRES(mutex_);
  /// The newest of the address with the most, if that has at least two more than `peer`.
  std::optional<Ended> EndOfTheGreediest(std::uint32_t peer) Q5_REQUIRES(mutex_);
  bool IsNameOfAnother(const Connection& connection) const Q5_REQUIRES(mutex_);
  /// Not under the lock: the log may close a file of its own.
  void Report(const char* reason, std::uint32_t peer);

  Time (*const now_)();
  platform::Mutex mutex_;
  /// By descriptor.
  std::unordered_map<int, Connection> connections_ Q5_GUARDED_BY(mutex_);
  std::unordered_map<int, Listener> listeners_ Q5_GUARDED_BY(mutex_);
  ZmbLeftBehind left_behind_ Q5_GUARDED_BY(mutex_);
  std::unordered_map<std::string_view, Time> reported_ Q5_GUARDED_BY(mutex_);
};

}  // namespace Common

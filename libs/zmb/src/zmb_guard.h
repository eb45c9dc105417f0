// Who may be connected to the bus, and how much a peer may send: one table of all connections that
// the process has accepted.
//
// libzmq accepts every connection, asks who the peer is only after its handshake, and keeps every
// part of a message until the last has come. So a peer could take all descriptors and all memory of
// the process, and with them the measurement. This guard therefore is below libzmq, at the
// system calls by which libzmq gets its connections and their bytes (zmb_calls.cpp): there nothing
// passes it, whatever the threads above are doing at that moment.
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

  using Time = std::chrono::steady_clock::time_point;

  static ZmbGuard& Instance();

  explicit ZmbGuard(Time (*now)() = &std::chrono::steady_clock::now) : now_(now) {}

  /// A connection that was just accepted. False: it is to be closed. Admitted are peers within the
  /// machine, of the loopback and of the net in which they reached this module. Connections whose
  /// handshake takes too long are shut down first.
  bool Admit(int fd, const Ends& ends);
  /// As Admit, with the ends that the socket itself names.
  bool Admit(int fd);
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

  struct Connection {
    std::uint32_t peer;
    Time since;
    ZmbStreamWatch watch{};
    bool named = false;  ///< the handshake is over
    bool ended = false;  ///< by this guard; libzmq has not closed it yet
  };

  // Both: null, or why not.
  const char* RefusalOf(int fd, const Ends& ends) const Q5_REQUIRES(mutex_);
  const char* Follow(Connection& connection, std::span<const std::uint8_t> bytes) const
      Q5_REQUIRES(mutex_);
  /// The peer of one that was ended.
  std::optional<std::uint32_t> EndOverdue() Q5_REQUIRES(mutex_);
  bool IsNameOfAnother(const Connection& connection) const Q5_REQUIRES(mutex_);
  /// Not under the lock: the log may close a file of its own.
  void Report(const char* reason, std::uint32_t peer);

  Time (*const now_)();
  platform::Mutex mutex_;
  /// By descriptor.
  std::unordered_map<int, Connection> connections_ Q5_GUARDED_BY(mutex_);
  std::unordered_map<std::string_view, Time> reported_ Q5_GUARDED_BY(mutex_);
};

}  // namespace Common

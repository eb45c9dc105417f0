// Keeps a line that a peer can cause as often as it likes to one a minute: else whoever sends
// garbage pushes everything else out of the log.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "common/log/log_line.h"

namespace Logger {

/// One object a line. Threads: any.
class LogLimit {
 public:
  bool IsDue() {
    const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count();
    std::int64_t due = due_;
    return now >= due && due_.compare_exchange_strong(due, now + kQuietSeconds);
  }

 private:
  static constexpr std::int64_t kQuietSeconds = 60;
  std::atomic<std::int64_t> due_{0};
};

}  // namespace Logger

/// As Q5_LOG_AT, at most once a minute at this place.
#define Q5_LOG_SELDOM(level, module, ...)                        \
  do {                                                           \
    static ::Logger::LogLimit q5_limit;                          \
    if (q5_limit.IsDue()) Q5_LOG_AT(level, module, __VA_ARGS__); \
  } while (false)

// Where the folders below the log send their lines.
//
// platform/ and libs/ may not include common/log. Each declares a LogHook; main() connects it to
// the log with the module that the folder logs under. Until then lines are dropped. Threads:
// Connect once at start-up, Print from any thread.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace platform {

class LogHook {
 public:
  /// Gets the level (3 error, 4 warning, 5 notice, 6 information, 7 debug) and an unformatted line,
  /// so that a line that the log's level filters out costs no formatting.
  using Writer = void (*)(int level, const char* format, std::va_list args);

  /// Whether a line of this level would be written; for callers whose line is costly to make.
  using Filter = bool (*)(int level);

  void Connect(Writer writer, Filter filter = nullptr) {
    filter_.store(filter, std::memory_order_release);
    writer_.store(writer, std::memory_order_release);
  }

  bool Wants(int level) const {
    if (writer_.load(std::memory_order_acquire) == nullptr) return false;
    Filter filter = filter_.load(std::memory_order_acquire);
    return filter == nullptr || filter(level);
  }

  [[gnu::format(printf, 3, 4)]] void Print(int level, const char* format, ...) const {
    Writer writer = writer_.load(std::memory_order_acquire);
    if (writer == nullptr) return;
    std::va_list args;
    va_start(args, format);
    writer(level, format, args);
    va_end(args);
  }

  /// An error that must be seen: on standard error when the log's level keeps it back.
  [[gnu::format(printf, 2, 3)]] void Insist(const char* format, ...) const {
    constexpr int kError = 3;
    Writer writer = writer_.load(std::memory_order_acquire);
    std::va_list args;
    va_start(args, format);
    if (writer != nullptr && Wants(kError)) {
      writer(kError, format, args);
    } else {
      std::vfprintf(stderr, format, args);
    }
    va_end(args);
  }

 private:
  std::atomic<Writer> writer_{nullptr};
  std::atomic<Filter> filter_{nullptr};
};

/// The lines of platform/ itself.
extern LogHook log_hook;

}  // namespace platform

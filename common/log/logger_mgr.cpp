#include "common/log/logger_mgr.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/backend.h"

namespace Logger {

std::array<std::atomic<int>, maxlogL> logger_mgr::_verbose{};
const std::array<const char*, maxlogL>& logger_mgr::_moduleStr = kModuleTexts;
std::atomic<long> logger_mgr::utc_offset_{0};
char logger_mgr::_logstr[1025];
std::mutex logger_mgr::log_mutex_;

namespace {

// A format beyond this leaves too little of the line for its values.
constexpr size_t kFormatLimit = 925;

bool ValidModule(int module) { return module > 0 && module < maxlogL; }

// The whole line in one write where the kernel takes it, so that lines of several processes on one
// terminal do not mix.
int WriteAll(int fd, const char* text, size_t length) {
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::write(fd, text + done, length - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return -1;
    done += static_cast<size_t>(n);
  }
  return static_cast<int>(length);
}

}  // namespace

logger_mgr* logger_mgr::GetLogger() {
  static logger_mgr* const logger = new logger_mgr;
  return logger;
}

bool logger_mgr::LogSamples(int module, int level) {
  return ValidModule(module) && level <= _verbose[module].load(std::memory_order_relaxed);
}

void logger_mgr::SetModuleLevel(int module, int level) {
  if (ValidModule(module)) _verbose[module].store(level, std::memory_order_relaxed);
}

int logger_mgr::print(int module, int level, int, const char* format, ...) {
  if (!LogSamples(module, level)) return 0;
  std::va_list args;
  va_start(args, format);
  int written = vprint(module, level, format, args);
  va_end(args);
  return written;
}

int logger_mgr::vprint(int module, int level, const char* format, std::va_list args) {
  if (!LogSamples(module, level)) return 0;
  if (std::strlen(format) > kFormatLimit) {
    std::fprintf(stderr, "LOG STRING IS APPROACHING ITS MAX LENGTH %d %s\n",
                 static_cast<int>(std::strlen(format)), format);
  }
  timespec now = platform::Machine().Clock().Realtime();
  tm local{};
  char stamp[16] = "";
  if (localtime_r(&now.tv_sec, &local) != nullptr) {
    utc_offset_.store(local.tm_gmtoff, std::memory_order_relaxed);
    std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
  }
  std::lock_guard lock(log_mutex_);
  int head = std::snprintf(_logstr, sizeof _logstr, "%s.%09ld %9s:%d%*s", stamp, now.tv_nsec,
                           _moduleStr[module], level, 1, "");
  int body =
      std::vsnprintf(_logstr + head, sizeof _logstr - static_cast<size_t>(head), format, args);
  if (body < 0) return -1;
  size_t length = static_cast<size_t>(head) + static_cast<size_t>(body);
  if (length >= sizeof _logstr) {  // cut to the buffer, but end the line all the same
    length = sizeof _logstr - 1;
    _logstr[length - 1] = '\n';
  }
  return WriteAll(STDERR_FILENO, _logstr, length);
}

void logger_mgr::PrintFromSignal(int module, int level, const char* format, ...) {
  if (!LogSamples(module, level)) return;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const long day_seconds = (now.tv_sec + utc_offset_.load(std::memory_order_relaxed)) % 86400;
  char line[256];
  int head = std::snprintf(line, sizeof line, "%02ld:%02ld:%02ld.%09ld %9s:%d ", day_seconds / 3600,
                           day_seconds / 60 % 60, day_seconds % 60, now.tv_nsec, _moduleStr[module],
                           level);
  std::va_list args;
  va_start(args, format);
  int body = std::vsnprintf(line + head, sizeof line - static_cast<size_t>(head), format, args);
  va_end(args);
  if (body < 0) return;
  WriteAll(STDERR_FILENO, line,
           std::min(static_cast<size_t>(head) + static_cast<size_t>(body), sizeof line - 1));
}

}  // namespace Logger

#include "common/log/logger_mgr.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "common/log/log_collection.h"
#include "common/log/log_files.h"
#include "platform/backend.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace Logger {

std::array<std::atomic<int>, maxlogL> logger_mgr::_verbose{};
const std::array<const char*, maxlogL>& logger_mgr::_moduleStr = kModuleTexts;
std::atomic<long> logger_mgr::utc_offset_{0};
char logger_mgr::_logstr[1025];
platform::Mutex logger_mgr::log_mutex_;
std::atomic<bool> logger_mgr::check_due_{false};
std::atomic<bool> logger_mgr::_forceRotateSignal{false};

namespace {

// A format beyond this leaves too little of the line for its values.
constexpr size_t kFormatLimit = 925;

constexpr int kCorruptBefore = 100;
constexpr int kCorruptAfter = 110;

constexpr int64_t kNanosecondsPerSecond = 1000000000;

// What the web server of the main module leaves to ask for logs, and the times of error words.
constexpr char kNakRequest[] = "/var/volatile/getLognak";
constexpr char kMainLog[] = "/var/volatile/toslog";

constinit thread_local int calls_left = 0;

// A caller may report a failure in several lines, or look at errno after the first.
class KeepErrno {
 public:
  KeepErrno() = default;
  ~KeepErrno() { errno = error_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  const int error_ = errno;
};

bool ValidModule(int module) { return module > 0 && module < maxlogL; }

bool ModificationTime(int fd, std::int64_t& nanoseconds) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) return false;
  nanoseconds = status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec;
  return true;
}

// The part of a line that a full disk took is removed: half a line would be glued to the next one.
void DropTorn(int fd, size_t written) {
  struct stat status {};
  if (written == 0 || ::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return;
  const off_t end = status.st_size - static_cast<off_t>(written);
  if (end >= 0 && ::ftruncate(fd, end) == 0) ::lseek(fd, end, SEEK_SET);
}

// The whole line in one write where the kernel takes it, so that lines of several processes on one
// terminal do not mix.
int WriteAll(int fd, const char* text, size_t length) {
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::write(fd, text + done, length - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      DropTorn(fd, done);
      return -1;
    }
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

bool logger_mgr::CorruptAcquisitionBeforeProcessing() {
  return _verbose[acquisitionL].load(std::memory_order_relaxed) == kCorruptBefore;
}

bool logger_mgr::CorruptAcquisitionAfterProcessing() {
  return _verbose[acquisitionL].load(std::memory_order_relaxed) == kCorruptAfter;
}

// A filtered call must cost next to nothing, so each thread counts down by itself. Threads start at
// different places of the hundred (61 and 100 have no common factor), so that those which end after
// a few calls count as well: a hundred threads of one call each make one check.
void logger_mgr::CountCall() {
  const KeepErrno keep;
  constexpr int kCallsPerCheck = 100;
  constexpr unsigned kStride = 61;
  if (calls_left < 0) {  // the thread's first call
    static std::atomic<unsigned> threads{0};
    const unsigned place = threads.fetch_add(1, std::memory_order_relaxed) * kStride;
    calls_left = kCallsPerCheck - 1 - static_cast<int>(place % kCallsPerCheck);
    if (calls_left > 0) return;
  }
  calls_left = kCallsPerCheck;
  if (check_due_.load(std::memory_order_relaxed) &&
      check_due_.exchange(false, std::memory_order_relaxed)) {
    GetLogger()->RotateLogFile(kReopenFlags, 0);
  }
}

int logger_mgr::print(int module, int level, int, const char* format, ...) {
  if (--calls_left <= 0) [[unlikely]] {
    CountCall();
  }
  if (!LogSamples(module, level)) return 0;
  std::va_list args;
  va_start(args, format);
  platform::Lock lock(log_mutex_);
  int written = WriteLine(module, level, format, args);
  lock.Unlock();
  va_end(args);
  return written;
}

int logger_mgr::vprint(int module, int level, const char* format, std::va_list args) {
  if (--calls_left <= 0) [[unlikely]] {
    CountCall();
  }
  if (!LogSamples(module, level)) return 0;
  platform::Lock lock(log_mutex_);
  return WriteLine(module, level, format, args);
}

int logger_mgr::PrintLocked(int module, int level, const char* format, ...) {
  if (!LogSamples(module, level)) return 0;
  std::va_list args;
  va_start(args, format);
  int written = WriteLine(module, level, format, args);
  va_end(args);
  return written;
}

void logger_mgr::Complain(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  platform::Lock lock(log_mutex_);
  WriteLine(mainL, kError, format, args);
  lock.Unlock();
  va_end(args);
}

int logger_mgr::WriteLine(int module, int level, const char* format, std::va_list args) {
  const KeepErrno keep;
  const size_t format_length = std::strlen(format);
  if (format_length > kFormatLimit) {
    std::fprintf(stderr, "LOG STRING IS APPROACHING ITS MAX LENGTH %d %s\n",
                 static_cast<int>(format_length), format);
  }
  const timespec now = platform::Machine().Clock().Realtime();
  static std::time_t stamped = -1;  // the second that `stamp` shows
  static char stamp[16];
  if (now.tv_sec != stamped) {
    stamped = now.tv_sec;
    tm local{};
    size_t n = 0;
    if (localtime_r(&now.tv_sec, &local) != nullptr) {
      utc_offset_.store(local.tm_gmtoff, std::memory_order_relaxed);
      n = std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
    }
    if (n == 0) {
      stamp[0] = '\0';
      std::fprintf(stderr, "Could not get the timestamp n=%d \n", static_cast<int>(n));
    }
  }
  int head = 0;
  if (stamp[0] != '\0') {
    head = std::snprintf(_logstr, sizeof _logstr, "%s.%09ld %9s:%d%*s", stamp, now.tv_nsec,
                         _moduleStr[static_cast<size_t>(module)], level, 1, "");
  }
  int body =
      std::vsnprintf(_logstr + head, sizeof _logstr - static_cast<size_t>(head), format, args);
  if (body < 0) return -1;
  size_t length = static_cast<size_t>(head) + static_cast<size_t>(body);
  if (length >= sizeof _logstr) {  // cut to the buffer, but end the line all the same
    length = sizeof _logstr - 1;
    _logstr[length - 1] = '\n';
  }
  if (LogSamples(debuglogprintL, kInfo)) {
    std::fprintf(stderr, "length of str %d fmt %d %s", static_cast<int>(length),
                 static_cast<int>(format_length), format);
  }
  check_due_.store(true, std::memory_order_relaxed);
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
  // whoever reads the output of a daemon in the foreground may have stopped: no line holds up an
  // end
  pollfd output{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
  if (::poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0) return;
  WriteAll(STDERR_FILENO, line,
           std::min(static_cast<size_t>(head) + static_cast<size_t>(body), sizeof line - 1));
}

int logger_mgr::Init(const char* configfile, int module, int logfd, const char* logfile,
                     int maxlogsize) {
  auto& machine = platform::Machine();
  std::lock_guard updating(update_mutex_);
  _configfile = configfile;
  _module = module;
  _oldtime = 0;
  struct stat open_log {};
  struct stat named_log {};
  const bool own_file = ::fstat(logfd, &open_log) == 0 && S_ISREG(open_log.st_mode) &&
                        ::stat(machine.Path(logfile).c_str(), &named_log) == 0 &&
                        open_log.st_dev == named_log.st_dev && open_log.st_ino == named_log.st_ino;
  int result = SetDefaultRotationParameters(logfile);
  {
    platform::Lock lock(log_mutex_);
    _logfd = logfd;
    _maxlogsize = maxlogsize;
    rotates_ = own_file && result == 0;
    _rotationEnable = 1;
  }
  const platform::UniqueFd config = OpenToRead(_configfile);
  std::int64_t time = 0;
  if (!config) {
    Complain("logconfig open error :%s:%s \n", configfile, std::strerror(errno));
    result = -1;
  } else if (!ModificationTime(config.Get(), time)) {
    Complain("fstat logconfig error %s \n", std::strerror(errno));
    result = -1;
  } else {
    _oldtime = time;
    if (ReadConfigFile(config.Get()) == 0) SetModuleLogLevels();
  }
  ::unlink(machine.Path(kNakRequest).c_str());
  if (IsMainModule() && std::strcmp(logfile, kMainLog) == 0) {
    ::unlink(machine.Path(kCollectRequest).c_str());
  }
  return result;
}

void logger_mgr::SetNetworkDrives(const NetworkDrives& drives) {
  std::lock_guard lock(update_mutex_);
  drives_ = drives;
}

int logger_mgr::ReadConfigFile(int fd) {
  const auto text = ReadText(fd, kMaxConfigBytes);
  if (!text) {
    Complain("File I/O error while reading\n");
    return -1;
  }
  const std::string path = platform::Machine().Path(_configfile);
  LogConfigError error;
  const auto settings =
      ParseLogConfig(*text, path.substr(0, path.find_last_of('/')), _module, error);
  if (!settings) {
    Complain("Parse Exception file %s at line %d errror %s\n", path.c_str(), error.line,
             error.text.c_str());
    return -1;
  }
  _logconfig = *settings;
  return 0;
}

void logger_mgr::SetModuleLogLevels() {
  print(mainL, kInfo, 0, "Logger: %s Setting the module levels module %d \n", __func__,
        _module.load());
  for (int module = 1; module < maxlogL; ++module) {
    if (const auto& level = _logconfig.levels[static_cast<size_t>(module)]) {
      SetModuleLevel(module, *level);
    }
  }
  {
    platform::Lock lock(log_mutex_);
    _rotateSize = _logconfig.rotateSize;
  }
  _forceRotateSignal = false;
}

// The word is what a later reader of the rotated logs looks for to learn the day of the lines after
// it, as lines have the time only. Month from 0, years since 1900.
void logger_mgr::LogDateMarker(int level) {
  const timespec now = platform::Machine().Clock().Realtime();
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char date[64];
  std::snprintf(date, sizeof date, "%02d%02d%02d", local.tm_year, local.tm_mon, local.tm_mday);
  print(dateL, level, 0, "%s %s\n", date, "UsedforNakLogDateCheck");
}

int logger_mgr::CheckUpdate() {
  BoundLiveLog();  // also while no thread prints enough for a check
  // A log collection takes minutes; the ticks that fall due meanwhile have nothing to add.
  std::unique_lock updating(update_mutex_, std::try_to_lock);
  if (!updating) return 0;
  const timespec now = platform::Machine().Clock().Realtime();
  tm local{};
  char text[32] = "";
  if (localtime_r(&now.tv_sec, &local) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  }
  print(dateL, kNotice, 0, "%s\n", text);
  LogDateMarker(kNotice);
  // lines have the time of the day only
  if (std::exchange(dated_hour_, local.tm_hour) != local.tm_hour) {
    print(mainL, kNotice, 0, "date %s\n", text);
  }
  if (_forceRotateSignal.exchange(false)) RotateLogFile(kReopenFlags, 1);
  if (const auto send = _sendForceRotate.load()) ServeCollectionRequests(*this, send);
  CheckConfig();
  CheckDrives();
  return 0;
}

void logger_mgr::CheckConfig() {
  const platform::UniqueFd config = OpenToRead(_configfile);
  if (!config) {
    print(mainL, kError, 0, "Logger: %s Log configfile open error %s:%s \n", __func__,
          _configfile.c_str(), std::strerror(errno));
    return;
  }
  ::fsync(config.Get());
  std::int64_t time = 0;
  if (!ModificationTime(config.Get(), time)) {
    print(mainL, kError, 0, "Logger: %s logconfig fstat error:%d:%s \n", __func__, errno,
          std::strerror(errno));
    return;
  }
  if (time == _oldtime) {
    print(mainL, kInfo, 0, "Logger: %s Logging level not changed \n", __func__);
    return;
  }
  // An older file is one that was put back: its time counts, so that its next change is noticed.
  const bool newer = time > _oldtime;
  _oldtime = time;
  print(mainL, kNotice, 0,
        newer ? "Logger: %s Logging level changed \n" : "Logger: %s RESEETTING THE OLDTIME \n",
        __func__);
  if (newer && ReadConfigFile(config.Get()) == 0) SetModuleLogLevels();
}

void logger_mgr::CheckDrives() {
  if (IsMainModule() && _sendForceRotate.load() == nullptr) return;
  if (drives_.check == nullptr) return;
  if (drives_.busy != nullptr && drives_.busy()) return;
  if (drives_.done != nullptr && drives_.done()) return;
  print(mainL, kNotice, 0, "Networkdrives from logger\n");
  drives_.check();
}

int LogCallBack(void*) { return logger_mgr::GetLogger()->CheckUpdate(); }

}  // namespace Logger

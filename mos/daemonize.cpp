#include "mos/daemonize.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/log/build_info.h"
#include "common/log/log_line.h"
#include "mos/instrument/process_flags.h"
#include "mos/options.h"
#include "platform/backend.h"
#include "platform/fpga_driver.h"
#include "platform/output_file.h"

namespace Mos {
namespace {

constexpr int kLogFlags = O_RDWR | O_CREAT | O_APPEND;
constexpr mode_t kLogMode = 0755;
constexpr mode_t kLockMode = 0640;

// Once its descriptors are closed the daemon cannot report why it ends. So a log or a lock that
// cannot be opened is reported while there still is a terminal. Opening neither truncates nor
// locks.
void RequireWritable(const char* what, const char* path, mode_t mode) {
  if (platform::OpenToWrite(path, O_RDWR | O_CREAT, mode)) return;
  StartupError("cannot open the %s file %s: %s\n", what, platform::Machine().Path(path).c_str(),
               std::strerror(errno));
  std::exit(1);
}

/// What the daemon reports to its starter once it runs, or cannot.
struct Report {
  enum Step : int { kDone, kLog, kLockFile, kLock } failed = kDone;
  int error = 0;
};

// Not emptied yet: it may be the log of a daemon that runs. The commands of the daemon get the
// standard descriptors, but not the one that the log keeps for itself.
int OpenLog(const char* path) {
  // the lowest free one: standard input, which the loop keeps open
  const int first = platform::OpenToWrite(path, kLogFlags, kLogMode).Release();
  const int fd = first < 0 ? -1 : ::fcntl(first, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fd < 0 || ::dup2(fd, standard) < 0) return -1;
  }
  return fd;
}

// The descriptor stays open: the lock lasts as long as it does.
Report TakeLock(const char* path) {
  const int fd = platform::OpenToWrite(path, O_RDWR | O_CREAT, kLockMode).Release();
  if (fd < 0) return {Report::kLockFile, errno};
  if (::lockf(fd, F_TLOCK, 0) < 0) return {Report::kLock, errno};
  char pid[24];
  int length = std::snprintf(pid, sizeof pid, "%d\n", static_cast<int>(::getpid()));
  if (::ftruncate(fd, 0) < 0 || ::write(fd, pid, static_cast<size_t>(length)) != length) {
    StartupError("cannot write the process id to %s: %s\n", path, std::strerror(errno));
  }
  auto& machine = platform::Machine();
  int debug = machine.Open(Dev::kProcessPidPath, O_WRONLY);
  if (debug < 0) {
    std::printf("Unable to open the debug fd ");
    std::fflush(stdout);
    return {};
  }
  machine.Write(debug, pid, static_cast<size_t>(length));
  machine.Close(debug);
  return {};
}

// Waits until the daemon has its lock and its log, and ends with the status that it reports: by
// then the daemon itself has no terminal for an error.
[[noreturn]] void EndStarter(int from_daemon, const std::string& log, const std::string& lock) {
  Report report;
  if (::read(from_daemon, &report, sizeof report) != sizeof report) {
    StartupError("the daemon ended before it was ready\n");
    ::_exit(1);
  }
  const char* reason = std::strerror(report.error);
  switch (report.failed) {
    case Report::kDone:
      ::_exit(0);
    case Report::kLog:
      StartupError("cannot use the log file %s: %s\n", log.c_str(), reason);
      break;
    case Report::kLockFile:
      StartupError("Unable to create lockfile %s, code=%d(%s) \n", lock.c_str(), report.error,
                   reason);
      break;
    case Report::kLock:
      StartupError("%s.%d Unable to lock %s , code = %d (%s)\n", __func__, __LINE__, lock.c_str(),
                   report.error, reason);
      break;
  }
  ::_exit(1);
}

// A starter may have closed them: a pipe in their place would get what the build prints.
void KeepStandardDescriptors() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO) fd = ::open("/dev/null", O_RDWR);
  if (fd >= 0) ::close(fd);
}

// A kernel before 5.9 has no close_range.
void CloseRange(int first, int last) {
  if (first > last ||
      ::close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0) {
    return;
  }
  const auto highest = static_cast<int>(::sysconf(_SC_OPEN_MAX)) - 1;
  for (int fd = first; fd <= std::min(last, highest); ++fd) ::close(fd);
}

void CloseAllBut(int kept) {
  CloseRange(0, kept - 1);
  CloseRange(kept + 1, INT_MAX);
}

}  // namespace

void daemonize(const char* log_path, const char* lock_path) {
  if (::getppid() == 1) {
    StartupError("%s.%d ALREADY DAEMON\n", __func__, __LINE__);
    return;
  }
  const std::string log = platform::Machine().Path(log_path);
  const std::string lock = platform::Machine().Path(lock_path);
  RequireWritable("log", log_path, kLogMode);
  RequireWritable("lock", lock_path, kLockMode);

  // The child still prints to the terminal, or to a pipe whose reader may end with the parent.
  std::signal(SIGPIPE, SIG_IGN);
  KeepStandardDescriptors();
  int to_starter[2];
  if (::pipe2(to_starter, O_CLOEXEC) < 0) std::exit(1);
  pid_t child = ::fork();
  if (child < 0) std::exit(1);
  if (child > 0) {
    ::close(to_starter[1]);
    EndStarter(to_starter[0], log, lock);
  }
  if (::setsid() < 0 || ::chdir("/") < 0) std::exit(1);

  int highest = static_cast<int>(::sysconf(_SC_OPEN_MAX)) - 1;
  Q5_LOG_NOTICE(mainL, "closing %d files pid %d\n", highest, static_cast<int>(::getpid()));
  Q5_LOG_NOTICE(mainL, "Build Date: %s \n", blddate);
  PrintBuildInfo(stdout);
  std::fflush(stdout);
  CloseAllBut(to_starter[1]);

  logfd = OpenLog(log_path);
  Report report = logfd < 0 ? Report{Report::kLog, errno} : TakeLock(lock_path);
  if (report.failed == Report::kDone && ::ftruncate(logfd, 0) < 0) report = {Report::kLog, errno};
  const bool told = ::write(to_starter[1], &report, sizeof report) == sizeof report;
  if (!told || report.failed != Report::kDone) std::exit(1);
  ::close(to_starter[1]);
}

}  // namespace Mos

#include "mos/daemonize.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/log/build_info.h"
#include "common/log/logger_mgr.h"
#include "mos/options.h"
#include "mos/process_flags.h"
#include "platform/backend.h"
#include "platform/fpga_driver.h"

namespace Mos {
namespace {

constexpr int kLogFlags = O_RDWR | O_CREAT | O_TRUNC | O_APPEND;
constexpr mode_t kLogMode = 0755;
constexpr mode_t kLockMode = 0640;

// Once its descriptors are closed the daemon has nobody to tell why it ends, so a log or a lock
// that cannot be opened is told while there still is a terminal. Opening neither truncates nor
// locks.
void RequireWritable(const char* what, const std::string& path, mode_t mode) {
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode);
  if (fd < 0) {
    StartupError("cannot open the %s file %s: %s\n", what, path.c_str(), std::strerror(errno));
    std::exit(1);
  }
  ::close(fd);
}

void OpenLog(const std::string& path) {
  logfd = ::open(path.c_str(), kLogFlags, kLogMode);
  if (logfd < 0) std::exit(1);
  for (int i = 0; i < 3; ++i) {
    if (::dup(logfd) < 0) std::exit(1);
  }
}

void TakeLock(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kLockMode);
  if (fd < 0) {
    StartupError("Unable to create lockfile %s, code=%d(%s) \n", path.c_str(), errno,
                 std::strerror(errno));
    std::exit(1);
  }
  if (::lockf(fd, F_TLOCK, 0) < 0) {
    StartupError("%s.%d Unable to lock %s , code = %d (%s)\n", __func__, __LINE__, path.c_str(),
                 errno, std::strerror(errno));
    std::exit(1);
  }
  char pid[24];
  int length = std::snprintf(pid, sizeof pid, "%d\n", static_cast<int>(::getpid()));
  if (::ftruncate(fd, 0) < 0 || ::write(fd, pid, static_cast<size_t>(length)) != length) {
    StartupError("cannot write the process id to %s: %s\n", path.c_str(), std::strerror(errno));
  }
  // The descriptor stays open: the lock lasts as long as it does.
  auto& machine = platform::Machine();
  int debug = machine.Open(Dev::kProcessPidPath, O_WRONLY);
  if (debug < 0) {
    std::printf("Unable to open the debug fd ");
    std::fflush(stdout);
    return;
  }
  machine.Write(debug, pid, static_cast<size_t>(length));
  machine.Close(debug);
}

}  // namespace

void daemonize(const char* log_path, const char* lock_path) {
  using Logger::logger_mgr;
  if (::getppid() == 1) {
    StartupError("%s.%d ALREADY DAEMON\n", __func__, __LINE__);
    return;
  }
  const std::string log = platform::Machine().Path(log_path);
  const std::string lock = platform::Machine().Path(lock_path);
  RequireWritable("log", log, kLogMode);
  RequireWritable("lock", lock, kLockMode);

  // The child still prints to the terminal, or to a pipe whose reader may go when the parent ends.
  std::signal(SIGPIPE, SIG_IGN);
  pid_t child = ::fork();
  if (child < 0) std::exit(1);
  if (child > 0) ::_exit(0);
  if (::setsid() < 0 || ::chdir("/") < 0) std::exit(1);

  int highest = static_cast<int>(::sysconf(_SC_OPEN_MAX)) - 1;
  logger_mgr::print(Logger::mainL, Logger::kNotice, 0, "closing %d files pid %d\n", highest,
                    static_cast<int>(::getpid()));
  logger_mgr::print(Logger::mainL, Logger::kNotice, 0, "Build Date: %s \n", blddate);
  PrintBuildInfo(stdout);
  std::fflush(stdout);
  ::close_range(0, ~0U, 0);  // from the highest possible descriptor down to 0, in one call

  OpenLog(log);
  TakeLock(lock);
}

}  // namespace Mos

#include "mos/signals.h"

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "common/dev/fpga/allok_drop.h"
#include "common/log/logger_mgr.h"
#include "mos/instrument/process_flags.h"

namespace Mos {
namespace {

constexpr int kHandled[] = {SIGSEGV, SIGILL, SIGABRT, SIGTERM, SIGPIPE, SIGFPE, SIGBUS};
/// These end the daemon without a word, as do the real-time signals.
constexpr int kEnding[] = {SIGHUP,    SIGINT,  SIGQUIT, SIGUSR1, SIGUSR2,
                           SIGALRM,   SIGTRAP, SIGSYS,  SIGPOLL, SIGVTALRM,
                           SIGSTKFLT, SIGPWR,  SIGPROF, SIGXCPU, SIGXFSZ};

void EndWithAllokDown(int signal_number) {
  // first: a second signal of the kind would else end the process with the line up
  Dev::TheAllokDrop().SendLast();
  std::signal(signal_number, SIG_DFL);
  ::raise(signal_number);
}

// After one of these the daemon does not come back to its work.
bool IsFatal(int signal_number) {
  for (int fatal : {SIGSEGV, SIGILL, SIGABRT, SIGFPE, SIGBUS}) {
    if (fatal == signal_number) return true;
  }
  return false;
}

// One that the starter ignores stays ignored (nohup), one that is used stays in use (a profiler).
void EndOn(int signal_number) {
  struct sigaction now {};
  ::sigaction(signal_number, nullptr, &now);
  if (now.sa_handler == SIG_DFL) std::signal(signal_number, EndWithAllokDown);
}

// SIGUSR1 is logged alike when somebody else installs the handler for it; nothing here does.
bool IsLogged(int signal_number) {
  if (signal_number == SIGUSR1) return true;
  for (int handled : kHandled) {
    if (handled == signal_number) return true;
  }
  return false;
}

}  // namespace

// In the foreground the reader of the output may go at any time, which is no reason to leave a test
// alone: the output is lost, the log and the service go on.
void sig_handler(int signal_number) {
  const int saved_errno = errno;
  const bool stays = signal_number == SIGPIPE && foreground != 0;
  const bool ends = signal_number == SIGTERM || signal_number == SIGPIPE;
  std::signal(signal_number, stays ? SIG_IGN : ends ? EndWithAllokDown : SIG_DFL);
  if (IsFatal(signal_number)) Dev::TheAllokDrop().SendLast();
  if (IsLogged(signal_number)) {
    Logger::logger_mgr::PrintFromSignal(Logger::mainL, Logger::kError, "%s.%d received SIGNAL %d\n",
                                        __func__, __LINE__, signal_number);
  }
  if (IsFatal(signal_number)) EndWithAllokDown(signal_number);
  errno = saved_errno;
}

void InstallSignalHandlers() {
  Dev::TheAllokDrop();  // made here, as a handler must not make it
  for (int handled : kHandled) std::signal(handled, sig_handler);
  for (int ending : kEnding) EndOn(ending);
  for (int ending = SIGRTMIN; ending <= SIGRTMAX; ++ending) EndOn(ending);
}

void AllowCoreDumps() {
  rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
  if (::setrlimit(RLIMIT_CORE, &limit) == 0) return;
  // Without the right to raise the hard limit, at least use all of it.
  if (::getrlimit(RLIMIT_CORE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_CORE, &limit);
  }
}

}  // namespace Mos

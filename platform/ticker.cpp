#include "platform/ticker.h"

#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <new>
#include <system_error>

#include "platform/guarded.h"
#include "platform/real_clock.h"

namespace platform {
namespace {

/// Signals of the process belong to the threads of the program, not to those of a timer. A fault is
/// the thread's own: where it is blocked, the kernel ends the process without its handler.
class ProcessSignalsBlocked {
 public:
  ProcessSignalsBlocked() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
      sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &previous_);
  }
  ~ProcessSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

 private:
  sigset_t previous_;
};

}  // namespace

std::unique_ptr<KernelTicker> KernelTicker::Start(Nanoseconds period, std::function<void()> tick) {
  if (period <= Nanoseconds::zero()) {
    errno = EINVAL;
    return nullptr;
  }
  std::unique_ptr<KernelTicker> ticker(new KernelTicker(std::move(tick)));
  const Lock lock(ticker->mutex_);
  ticker->workers_.reserve(kMaxWorkers);
  if (ticker->Arm(period) && ticker->AddWorker()) return ticker;
  return nullptr;
}

KernelTicker::~KernelTicker() {
  stopping_ = true;
  constexpr std::uint64_t kOne = 1;
  if (stop_ && ::write(stop_.Get(), &kOne, sizeof kOne) < 0) assert(false);
  for (;;) {
    std::thread worker;
    {
      const Lock lock(mutex_);
      if (workers_.empty()) return;
      worker = std::move(workers_.back());
      workers_.pop_back();
    }
    assert(worker.get_id() != std::this_thread::get_id());
    worker.join();
  }
}

/// CLOCK_REALTIME, as setting the time of day does not move a periodic timer.
bool KernelTicker::Arm(Nanoseconds period) {
  timer_ = UniqueFd(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
  stop_ = UniqueFd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  events_ = UniqueFd(::epoll_create1(EPOLL_CLOEXEC));
  if (!timer_ || !stop_ || !events_) return false;
  itimerspec times{};
  times.it_value = times.it_interval = ToTimespec(period);
  // an expiry wakes one thread, the stop all of them
  return ::timerfd_settime(timer_.Get(), 0, &times, nullptr) == 0 &&
         Watch(timer_.Get(), EPOLLIN | EPOLLET) && Watch(stop_.Get(), EPOLLIN);
}

bool KernelTicker::Watch(int fd, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  return ::epoll_ctl(events_.Get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

/// False with errno set when there is no thread to be had.
bool KernelTicker::AddWorker() {
  const ProcessSignalsBlocked blocked;
  try {
    workers_.emplace_back(&KernelTicker::RunWorker, this);
  } catch (const std::system_error& error) {
    errno = error.code().value();
    return false;
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
  }
  ++waiting_;
  return true;
}

void KernelTicker::RunWorker() {
  while (AwaitExpiry()) {
    LeaveWaiting();
    Guarded("a tick", tick_);
    const Lock lock(mutex_);
    ++waiting_;
  }
}

/// False at the end.
bool KernelTicker::AwaitExpiry() {
  for (;;) {
    epoll_event event{};
    ::epoll_wait(events_.Get(), &event, 1, -1);
    if (stopping_) return false;
    std::uint64_t expiries = 0;
    if (::read(timer_.Get(), &expiries, sizeof expiries) != sizeof expiries) continue;
    overrun_ = static_cast<int>(expiries - 1);
    return true;
  }
}

/// Sees to it that somebody waits for the next expiry. Without a thread for that it is missed,
/// until a callback returns.
void KernelTicker::LeaveWaiting() {
  const Lock lock(mutex_);
  if (--waiting_ == 0 && workers_.size() < kMaxWorkers && !stopping_) AddWorker();
}

}  // namespace platform

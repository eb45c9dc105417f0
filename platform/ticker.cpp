#include "platform/ticker.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>

#include "platform/real_clock.h"

// Older C libraries have the field but not its public name.
#ifndef sigev_notify_thread_id
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace platform {
namespace {

sigset_t TickSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGRTMIN);
  return set;
}

/// Signals of the process belong to the threads of the program, not to those of a timer.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

 private:
  sigset_t previous_;
};

/// A periodic timer that signals the thread that made it.
class ThreadTimer {
 public:
  explicit ThreadTimer(Nanoseconds period) {
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGRTMIN;
    event.sigev_notify_thread_id = ::gettid();
    if (::timer_create(CLOCK_REALTIME, &event, &id_) != 0) {
      error_ = errno;
      return;
    }
    created_ = true;
    itimerspec times{};
    times.it_value = times.it_interval = ToTimespec(period);
    if (::timer_settime(id_, 0, &times, nullptr) != 0) error_ = errno;
  }
  ThreadTimer(const ThreadTimer&) = delete;
  ThreadTimer& operator=(const ThreadTimer&) = delete;
  ~ThreadTimer() {
    if (created_) ::timer_delete(id_);
  }
  int error() const { return error_; }

 private:
  timer_t id_{};
  bool created_ = false;
  int error_ = 0;
};

}  // namespace

std::unique_ptr<PosixTicker> PosixTicker::Start(Nanoseconds period, std::function<void()> tick) {
  if (period <= Nanoseconds::zero()) {
    errno = EINVAL;
    return nullptr;
  }
  std::unique_ptr<PosixTicker> ticker(new PosixTicker(std::move(tick)));
  std::promise<int> started;
  std::future<int> result = started.get_future();
  {
    const AllSignalsBlocked blocked;
    ticker->dispatcher_ =
        std::thread(&PosixTicker::RunDispatcher, ticker.get(), period, std::move(started));
  }
  const int error = result.get();
  if (error == 0) return ticker;
  ticker.reset();
  errno = error;
  return nullptr;
}

PosixTicker::~PosixTicker() {
  {
    const std::lock_guard lock(work_mutex_);
    stopping_ = true;
  }
  work_changed_.notify_all();
  pthread_kill(dispatcher_.native_handle(), SIGRTMIN);
  dispatcher_.join();
  for (std::thread& worker : workers_) {
    assert(worker.get_id() != std::this_thread::get_id());
    worker.join();
  }
}

void PosixTicker::RunDispatcher(Nanoseconds period, std::promise<int> started) {
  const ThreadTimer timer(period);
  started.set_value(timer.error());
  if (timer.error() == 0) {
    DispatchExpiries();
  }
}

void PosixTicker::DispatchExpiries() {
  const sigset_t signal = TickSignal();
  for (;;) {
    siginfo_t info{};
    const bool expired = ::sigwaitinfo(&signal, &info) > 0 && info.si_code == SI_TIMER;
    {
      const std::lock_guard lock(work_mutex_);
      if (stopping_) return;
      if (!expired) continue;
      overrun_ = info.si_overrun;
      HandOver();
    }
    work_changed_.notify_one();  // without the lock, which the worker wants at once
  }
}

void PosixTicker::HandOver() {
  if (idle_ > 0) {
    --idle_;
  } else if (workers_.size() < kMaxWorkers) {
    workers_.emplace_back(&PosixTicker::RunWorker, this);  // inherits the blocked signals
  } else {
    return;
  }
  ++due_;
}

void PosixTicker::RunWorker() {
  std::unique_lock lock(work_mutex_);
  for (;;) {
    work_changed_.wait(lock, [this] { return due_ > 0 || stopping_; });
    if (stopping_) return;
    --due_;
    lock.unlock();
    tick_();
    lock.lock();
    ++idle_;
  }
}

}  // namespace platform

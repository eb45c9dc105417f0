// Time as the daemon sees it: monotonic time, sleeping, timed waits and periodic ticks.
//
// Everything that waits goes through here, so that a unit test can run a ten-second wait in no time
// on a FakeClock (fake_clock.h). Threads: every operation may be called from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>

namespace platform {

using Nanoseconds = std::chrono::nanoseconds;

/// Runs its callback once a period until it is destroyed. After the destructor has returned no
/// callback runs. A callback may overlap the one before if that one took longer than a period.
class Ticker {
 public:
  virtual ~Ticker() = default;
  Ticker() = default;
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

  /// Periods that passed without a tick of their own before the latest tick.
  virtual int Overrun() const = 0;
};

class Clock {
 public:
  virtual ~Clock() = default;

  /// Time since an arbitrary start; never goes back.
  virtual Nanoseconds Monotonic() const = 0;
  /// Time of day since the epoch.
  virtual timespec Realtime() const = 0;

  virtual void SleepUntil(Nanoseconds monotonic_deadline) = 0;
  void SleepFor(Nanoseconds duration) { SleepUntil(Monotonic() + duration); }

  /// One wait on `condition`, which may end early: test the predicate in a loop.
  /// False once `monotonic_deadline` has passed.
  virtual bool WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         Nanoseconds monotonic_deadline) = 0;

  /// WaitUntil for something that comes by the passing of time alone: where sleeping moves the
  /// clock, this does, too.
  virtual bool DozeUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         Nanoseconds monotonic_deadline) {
    return WaitUntil(condition, lock, monotonic_deadline);
  }

  /// The first tick comes one `period` from now. Null, with errno set, when no timer can be had.
  virtual std::unique_ptr<Ticker> StartTicks(Nanoseconds period, std::function<void()> tick) = 0;
};

}  // namespace platform

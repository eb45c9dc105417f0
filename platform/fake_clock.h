// A clock that stands still until a test moves it.
//
// Sleepers, timed waits and ticks all hang on it, so a test of a ten-second wait takes no time and
// has one outcome. Typical use: start the code under test on its thread, AwaitBlocked(1),
// Advance(10s).
//
// A timed wait watches the caller's condition variable in short slices of real time and therefore
// often ends early, which the contract of WaitUntil allows; notifications are never lost.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/thread_safety.h"

namespace platform {

class FakeClock final : public Clock {
 public:
  /// Where Monotonic() starts: not 0, so that code which takes 0 for "never" is found out.
  static constexpr Nanoseconds kStart = std::chrono::seconds(1000);

  FakeClock();
  /// No ticker may be alive.
  ~FakeClock() override;

  /// Moves time forward and runs the ticks that fall due, in the order of their times, on this
  /// thread. Time stays at a tick's own time while it runs. A target in the past does nothing.
  void AdvanceTo(Nanoseconds monotonic);
  void Advance(Nanoseconds duration) { AdvanceTo(Monotonic() + duration); }
  /// Moves time forward as a computation does that no tick interrupts: ticks come that much later.
  void Spend(Nanoseconds duration);
  /// With true a sleep or doze moves time by itself and returns; timed waits still wait for
  /// Advance.
  void SetAutoAdvance(bool on);

  /// Waits, in real time, until at least `count` threads are in SleepUntil and WaitUntil. False
  /// after ten real seconds.
  bool AwaitBlocked(std::size_t count) const;
  /// The earliest deadline of a blocked thread or next tick.
  std::optional<Nanoseconds> NextDeadline() const;

  Nanoseconds Monotonic() const override;
  timespec Realtime() const override;
  void SetRealtime(const timespec& time);
  void SleepUntil(Nanoseconds monotonic_deadline) override;
  bool WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 Nanoseconds monotonic_deadline) override;
  bool DozeUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 Nanoseconds monotonic_deadline) override;
  std::unique_ptr<Ticker> StartTicks(Nanoseconds period, std::function<void()> tick) override;

 private:
  class FakeTicker;
  class BlockedScope;

  FakeTicker* EarliestTicker() const Q5_REQUIRES(mutex_);

  mutable Mutex mutex_;  ///< guards the fields of tickers too
  mutable std::condition_variable changed_;
  Nanoseconds now_ Q5_GUARDED_BY(mutex_) = kStart;
  /// Time of day when Monotonic() was kStart.
  Nanoseconds realtime_at_start_ Q5_GUARDED_BY(mutex_);
  bool auto_advance_ Q5_GUARDED_BY(mutex_) = false;
  /// One for each blocked thread.
  std::multiset<Nanoseconds> deadlines_ Q5_GUARDED_BY(mutex_);
  std::vector<FakeTicker*> tickers_ Q5_GUARDED_BY(mutex_);
};

}  // namespace platform

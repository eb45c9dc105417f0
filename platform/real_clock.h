// The machine's own clock: CLOCK_MONOTONIC, CLOCK_REALTIME and POSIX timers.
#pragma once

#include "platform/clock.h"

namespace platform {

class RealClock : public Clock {
 public:
  Nanoseconds Monotonic() const override;
  timespec Realtime() const override;
  void SleepUntil(Nanoseconds monotonic_deadline) override;
  bool WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 Nanoseconds monotonic_deadline) override;
  std::unique_ptr<Ticker> StartTicks(Nanoseconds period, std::function<void()> tick) override;
};

/// A timespec's parts as one duration, and back; the nanosecond part always lies in 0..999999999.
Nanoseconds ToNanoseconds(const timespec& time);
timespec ToTimespec(Nanoseconds time);

}  // namespace platform

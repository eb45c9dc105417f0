#include "platform/real_clock.h"

#include <cerrno>

#include "platform/ticker.h"

namespace platform {

Nanoseconds ToNanoseconds(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + Nanoseconds(time.tv_nsec);
}

timespec ToTimespec(Nanoseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  timespec result{};
  result.tv_sec = static_cast<time_t>(seconds.count());
  result.tv_nsec = static_cast<long>((time - seconds).count());
  return result;
}

Nanoseconds RealClock::Monotonic() const {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return ToNanoseconds(now);
}

timespec RealClock::Realtime() const {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

void RealClock::SleepUntil(Nanoseconds monotonic_deadline) {
  const timespec deadline = ToTimespec(monotonic_deadline);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
  }
}

bool RealClock::WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          Nanoseconds monotonic_deadline) {
  // The standard library's steady clock is CLOCK_MONOTONIC, with the same start.
  const std::chrono::steady_clock::time_point deadline{monotonic_deadline};
  return condition.wait_until(lock, deadline) == std::cv_status::no_timeout;
}

std::unique_ptr<Ticker> RealClock::StartTicks(Nanoseconds period, std::function<void()> tick) {
  return KernelTicker::Start(period, std::move(tick));
}

}  // namespace platform

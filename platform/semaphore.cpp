#include "platform/semaphore.h"

#include "platform/backend.h"

namespace platform {

void Semaphore::Post() {
  // Notifies under the lock: a waiter that has been let through may destroy the semaphore at once.
  const std::lock_guard lock(mutex_);
  ++value_;
  posted_.notify_one();
}

void Semaphore::Wait() {
  std::unique_lock lock(mutex_);
  posted_.wait(lock, [this] { return value_ > 0; });
  --value_;
}

bool Semaphore::TryWait() {
  const std::lock_guard lock(mutex_);
  if (value_ == 0) return false;
  --value_;
  return true;
}

bool Semaphore::WaitUntil(Nanoseconds monotonic_deadline) {
  Clock& clock = Machine().Clock();
  std::unique_lock lock(mutex_);
  while (value_ == 0) {
    if (!clock.WaitUntil(posted_, lock, monotonic_deadline) && value_ == 0) return false;
  }
  --value_;
  return true;
}

}  // namespace platform

#include "platform/semaphore.h"

#include "platform/backend.h"

namespace platform {

void Semaphore::Post() {
  // Notifies under the lock: a waiter that has been let through may destroy the semaphore at once.
  const Lock lock(mutex_);
  ++value_;
  posted_.notify_one();
}

void Semaphore::Wait() {
  Lock lock(mutex_);
  posted_.wait(lock, [this]() Q5_REQUIRES(mutex_) { return value_ > 0; });
  --value_;
}

bool Semaphore::TryWait() {
  const Lock lock(mutex_);
  if (value_ == 0) return false;
  --value_;
  return true;
}

bool Semaphore::WaitUntil(Nanoseconds monotonic_deadline) {
  Clock& clock = Machine().Clock();
  Lock lock(mutex_);
  while (value_ == 0) {
    if (!clock.WaitUntil(posted_, lock, monotonic_deadline) && value_ == 0) return false;
  }
  --value_;
  return true;
}

}  // namespace platform

// A counting semaphore whose timed wait runs on the machine's clock (backend.h).
// Threads: any thread may post or wait. Not for signal handlers.
#pragma once

#include <condition_variable>

#include "platform/clock.h"
#include "platform/thread_safety.h"

namespace platform {

class Semaphore {
 public:
  explicit Semaphore(unsigned value = 0) : value_(value) {}
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  void Post();
  void Wait();
  bool TryWait();
  /// False when `monotonic_deadline` passed first.
  bool WaitUntil(Nanoseconds monotonic_deadline);

 private:
  Mutex mutex_;
  std::condition_variable posted_;
  unsigned value_ Q5_GUARDED_BY(mutex_);
};

}  // namespace platform

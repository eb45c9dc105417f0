// Calls that may not come back, such as a request to a driver that is wedged. Each runs on a thread
// that can be left behind, so that its caller continues after a limit.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/clock.h"

namespace platform {

/// Threads: any. Limits are of real time, whatever clock the back end has: they are for a machine
/// that does not do what it should.
class TimedCalls {
 public:
  /// At most `most` calls at a time.
  explicit TimedCalls(std::size_t most);
  /// Waits for no call that is late: it ends by itself.
  ~TimedCalls();

  /// 0 or more, or a negative errno: what `call` returns, or -ETIMEDOUT after `limit`, or -EAGAIN
  /// without a thread for it. A call that is late continues, so it must own what it uses; while
  /// there is one, others get a tenth of their limit, and with `most` of them -EBUSY at once.
  int Run(Nanoseconds limit, std::function<int()> call);

 private:
  struct Job;
  struct Shared;

  std::shared_ptr<Shared> shared_;
};

/// How long the requests of this thread may take in all while the object lives; afterwards they are
/// refused at once. For a handler, whose host waits.
class TimeBudget {
 public:
  explicit TimeBudget(Nanoseconds limit);
  ~TimeBudget();
  TimeBudget(const TimeBudget&) = delete;
  TimeBudget& operator=(const TimeBudget&) = delete;

  /// What is left for a request that may take `limit` by itself; zero when all is spent.
  static Nanoseconds Left(Nanoseconds limit);
};

}  // namespace platform

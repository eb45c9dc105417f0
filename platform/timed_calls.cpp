#include "platform/timed_calls.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <optional>
#include <system_error>

#include "platform/look_for.h"
#include "platform/thread_safety.h"

namespace platform {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kShareBesideALateCall = 10;

thread_local std::optional<SteadyClock::time_point> budget_end;

}  // namespace

struct TimedCalls::Job {
  std::function<int()> call;
  std::atomic<bool> done{false};
  int result = 0;
  bool late = false;  ///< its caller has left
};

/// Outlives the object as long as a call is late.
struct TimedCalls::Shared {
  explicit Shared(std::size_t its_most) : most(its_most) {}

  const std::size_t most;
  Mutex mutex;  ///< guards the fields of jobs too, but for `done`
  std::condition_variable due;
  std::condition_variable done;
  std::deque<std::shared_ptr<Job>> jobs Q5_GUARDED_BY(mutex);
  std::size_t threads Q5_GUARDED_BY(mutex) = 0;
  /// Threads that have a job, and jobs that wait for one.
  std::size_t busy Q5_GUARDED_BY(mutex) = 0;
  std::size_t late Q5_GUARDED_BY(mutex) = 0;
  std::atomic<std::size_t> waiting_jobs{0};
  bool ended Q5_GUARDED_BY(mutex) = false;

  void Work();
};

void TimedCalls::Shared::Work() {
  Lock lock(mutex);
  for (;;) {
    due.wait(lock, [this]() Q5_REQUIRES(mutex) { return ended || !jobs.empty(); });
    if (jobs.empty()) break;
    const std::shared_ptr<Job> job = std::move(jobs.front());
    jobs.pop_front();
    --waiting_jobs;
    lock.Unlock();
    const int result = job->call();
    lock.Relock();
    job->call = nullptr;
    job->result = result;
    job->done = true;
    --busy;
    if (job->late) --late;
    done.notify_all();
    lock.Unlock();
    LookFor([this] { return waiting_jobs != 0; });
    lock.Relock();
  }
  --threads;
}

TimedCalls::TimedCalls(std::size_t most) : shared_(std::make_shared<Shared>(most)) {}

TimedCalls::~TimedCalls() {
  const Lock lock(shared_->mutex);
  shared_->ended = true;
  shared_->due.notify_all();
}

int TimedCalls::Run(Nanoseconds limit, std::function<int()> call) {
  limit = TimeBudget::Left(limit);
  if (limit <= Nanoseconds::zero()) return -ETIMEDOUT;
  const auto job = std::make_shared<Job>();
  job->call = std::move(call);
  Shared& shared = *shared_;
  Lock lock(shared.mutex);
  if (shared.busy >= shared.most) return -EBUSY;
  if (shared.busy == shared.threads) {
    try {
      std::thread([its = shared_] { its->Work(); }).detach();
    } catch (const std::system_error&) {
      return -EAGAIN;
    }
    ++shared.threads;
  }
  if (shared.late != 0) limit /= kShareBesideALateCall;
  shared.jobs.push_back(job);
  ++shared.busy;
  ++shared.waiting_jobs;
  shared.due.notify_one();
  lock.Unlock();
  LookFor([&] { return job->done.load(); });
  lock.Relock();
  if (shared.done.wait_for(lock, limit, [&] { return job->done.load(); })) return job->result;
  job->late = true;
  ++shared.late;
  return -ETIMEDOUT;
}

TimeBudget::TimeBudget(Nanoseconds limit) { budget_end = SteadyClock::now() + limit; }
TimeBudget::~TimeBudget() { budget_end.reset(); }

Nanoseconds TimeBudget::Left(Nanoseconds limit) {
  if (!budget_end) return limit;
  return std::min(limit, Nanoseconds(*budget_end - SteadyClock::now()));
}

}  // namespace platform

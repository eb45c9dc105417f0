#include "platform/fake_clock.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <utility>

#include "platform/real_clock.h"

namespace platform {
namespace {

constexpr auto kSlice = std::chrono::microseconds(200);
constexpr auto kAwaitLimit = std::chrono::seconds(10);
constexpr Nanoseconds kRealtimeAtStart = std::chrono::seconds(1577880000);  // 2020-01-01 12:00 UTC

}  // namespace

class FakeClock::FakeTicker final : public Ticker {
 public:
  FakeTicker(FakeClock& its_clock, Nanoseconds its_period, std::function<void()> its_tick)
      : clock(its_clock),
        next(clock.now_ + its_period),
        period(its_period),
        tick(std::move(its_tick)) {
    clock.tickers_.push_back(this);
  }

  ~FakeTicker() override {
    Lock lock(clock.mutex_);
    std::erase(clock.tickers_, this);
    assert(std::ranges::count(runners, std::this_thread::get_id()) == 0);
    clock.changed_.wait(lock, [this] { return runners.empty(); });
  }

  int Overrun() const override { return 0; }

  FakeClock& clock;
  Nanoseconds next;
  const Nanoseconds period;
  const std::function<void()> tick;
  std::vector<std::thread::id> runners;  ///< threads that run the callback now
};

/// Counts its thread as blocked until a deadline; made and destroyed under the clock's lock.
class FakeClock::BlockedScope {
 public:
  BlockedScope(FakeClock& clock, Nanoseconds deadline)
      : clock_(clock), entry_(clock.deadlines_.insert(deadline)) {
    clock_.changed_.notify_all();
  }
  ~BlockedScope() { clock_.deadlines_.erase(entry_); }
  BlockedScope(const BlockedScope&) = delete;
  BlockedScope& operator=(const BlockedScope&) = delete;

 private:
  FakeClock& clock_;
  std::multiset<Nanoseconds>::iterator entry_;
};

FakeClock::FakeClock() : realtime_at_start_(kRealtimeAtStart) {}

FakeClock::~FakeClock() { assert(tickers_.empty()); }

Nanoseconds FakeClock::Monotonic() const {
  const Lock lock(mutex_);
  return now_;
}

timespec FakeClock::Realtime() const {
  const Lock lock(mutex_);
  return ToTimespec(realtime_at_start_ + (now_ - kStart));
}

void FakeClock::SetRealtime(const timespec& time) {
  const Lock lock(mutex_);
  realtime_at_start_ = ToNanoseconds(time) - (now_ - kStart);
}

FakeClock::FakeTicker* FakeClock::EarliestTicker() const {
  const auto earliest = std::ranges::min_element(tickers_, {}, &FakeTicker::next);
  return earliest == tickers_.end() ? nullptr : *earliest;
}

void FakeClock::AdvanceTo(Nanoseconds monotonic) {
  Lock lock(mutex_);
  for (FakeTicker* due = EarliestTicker(); due != nullptr && due->next <= monotonic;
       due = EarliestTicker()) {
    now_ = std::max(now_, due->next);
    due->next += due->period;
    due->runners.push_back(std::this_thread::get_id());
    changed_.notify_all();
    lock.Unlock();
    due->tick();
    lock.Relock();
    // `due` is alive: its destructor waits until this thread has left the list.
    due->runners.erase(std::ranges::find(due->runners, std::this_thread::get_id()));
    changed_.notify_all();
  }
  now_ = std::max(now_, monotonic);
  changed_.notify_all();
}

void FakeClock::Spend(Nanoseconds duration) {
  const Lock lock(mutex_);
  now_ += duration;
  for (FakeTicker* ticker : tickers_) ticker->next += duration;
  changed_.notify_all();
}

void FakeClock::SetAutoAdvance(bool on) {
  const Lock lock(mutex_);
  auto_advance_ = on;
}

bool FakeClock::AwaitBlocked(std::size_t count) const {
  Lock lock(mutex_);
  return changed_.wait_for(lock, kAwaitLimit,
                           [&]() Q5_REQUIRES(mutex_) { return deadlines_.size() >= count; });
}

std::optional<Nanoseconds> FakeClock::NextDeadline() const {
  const Lock lock(mutex_);
  std::optional<Nanoseconds> next;
  if (!deadlines_.empty()) next = *deadlines_.begin();
  const FakeTicker* ticker = EarliestTicker();
  if (ticker != nullptr && (!next || ticker->next < *next)) next = ticker->next;
  return next;
}

void FakeClock::SleepUntil(Nanoseconds monotonic_deadline) {
  Lock lock(mutex_);
  if (auto_advance_) {
    lock.Unlock();
    AdvanceTo(monotonic_deadline);
    return;
  }
  if (now_ >= monotonic_deadline) return;
  const BlockedScope blocked(*this, monotonic_deadline);
  changed_.wait(lock, [&]() Q5_REQUIRES(mutex_) { return now_ >= monotonic_deadline; });
}

bool FakeClock::WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          Nanoseconds monotonic_deadline) {
  std::optional<BlockedScope> blocked;
  {
    const Lock own_lock(mutex_);
    if (now_ >= monotonic_deadline) return false;
    blocked.emplace(*this, monotonic_deadline);
  }
  condition.wait_for(lock, kSlice);
  const Lock own_lock(mutex_);
  blocked.reset();
  return now_ < monotonic_deadline;
}

bool FakeClock::DozeUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          Nanoseconds monotonic_deadline) {
  bool moves = false;
  {
    const Lock own_lock(mutex_);
    moves = auto_advance_;
  }
  if (!moves) return WaitUntil(condition, lock, monotonic_deadline);
  // Ticks that fall due may need what the caller's lock guards.
  lock.unlock();
  AdvanceTo(monotonic_deadline);
  lock.lock();
  return false;
}

std::unique_ptr<Ticker> FakeClock::StartTicks(Nanoseconds period, std::function<void()> tick) {
  if (period <= Nanoseconds::zero()) {
    errno = EINVAL;
    return nullptr;
  }
  const Lock lock(mutex_);
  return std::make_unique<FakeTicker>(*this, period, std::move(tick));
}

}  // namespace platform

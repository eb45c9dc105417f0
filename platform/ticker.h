// Periodic ticks from a POSIX timer.
//
// The timer (CLOCK_REALTIME, as setting the time of day does not move a periodic timer) signals one
// thread, which hands each expiry to a worker. That is what SIGEV_THREAD does inside the C library,
// done here by hand for three reasons: workers are reused, where the library makes a thread for
// every tick; the destructor can wait for the last callback, where a library thread may still be on
// its way to a deleted object; and the threads are ones that a thread sanitizer knows.
#pragma once

#include <atomic>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/clock.h"

namespace platform {

class PosixTicker final : public Ticker {
 public:
  /// Null with errno set when `period` is not positive or the system has no timer left.
  static std::unique_ptr<PosixTicker> Start(Nanoseconds period, std::function<void()> tick);
  /// Waits for a callback that runs. Must not be called from the callback.
  ~PosixTicker() override;
  int Overrun() const override { return overrun_; }

 private:
  // A callback that takes longer than a period is overlapped by the next one. One that never ends
  // would collect a thread a tick, so further ticks are dropped at this number.
  static constexpr std::size_t kMaxWorkers = 8;

  explicit PosixTicker(std::function<void()> tick) : tick_(std::move(tick)) {}
  void RunDispatcher(Nanoseconds period, std::promise<int> started);
  void DispatchExpiries();
  void HandOver();
  void RunWorker();

  const std::function<void()> tick_;
  std::atomic<int> overrun_{0};
  std::mutex work_mutex_;  ///< guards the fields down to workers_
  std::condition_variable work_changed_;
  std::size_t due_ = 0;   ///< expiries that no worker has taken yet
  std::size_t idle_ = 0;  ///< workers that wait, less those that due_ will wake
  bool stopping_ = false;
  std::vector<std::thread> workers_;
  std::thread dispatcher_;
};

}  // namespace platform

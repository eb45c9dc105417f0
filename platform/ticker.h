// Periodic ticks from a kernel timer.
//
// Several threads wait for one timer, and each expiry wakes one of them, which runs the callback: a
// tick costs one switch of threads, and a callback that hangs leaves the others waiting for the
// next tick. SIGEV_THREAD of the C library makes a thread for every tick, cannot wait for the last
// callback, and takes two switches where threads are kept.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace platform {

class KernelTicker final : public Ticker {
 public:
  /// Null with errno set when `period` is not positive or the system has no timer or thread left.
  static std::unique_ptr<KernelTicker> Start(Nanoseconds period, std::function<void()> tick);
  /// Waits for a callback that runs. Must not be called from the callback.
  ~KernelTicker() override;
  int Overrun() const override { return overrun_; }

 private:
  // A callback that takes longer than a period is overlapped by the next one. One that never ends
  // would collect a thread a tick, so further ticks are dropped at this number.
  static constexpr std::size_t kMaxWorkers = 8;

  explicit KernelTicker(std::function<void()> tick) : tick_(std::move(tick)) {}
  bool Arm(Nanoseconds period);
  bool Watch(int fd, std::uint32_t events);
  bool AddWorker() Q5_REQUIRES(mutex_);
  void RunWorker();
  bool AwaitExpiry();
  void LeaveWaiting();

  const std::function<void()> tick_;
  UniqueFd timer_;
  UniqueFd stop_;
  UniqueFd events_;
  std::atomic<bool> stopping_{false};
  std::atomic<int> overrun_{0};
  Mutex mutex_;
  std::size_t waiting_ Q5_GUARDED_BY(mutex_) = 0;
  std::vector<std::thread> workers_ Q5_GUARDED_BY(mutex_);
};

}  // namespace platform

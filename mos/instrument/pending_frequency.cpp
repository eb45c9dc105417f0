#include "mos/instrument/pending_frequency.h"

#include <system_error>
#include <utility>

#include "common/log/log_line.h"
#include "platform/guarded.h"

namespace Mos {

int PendingFrequency::Start(std::function<void(const Step&)> apply) {
  apply_ = std::move(apply);
  try {
    thread_ =
        std::thread([this] { platform::GuardedLoop("pending frequency", [this] { Run(); }); });
  } catch (const std::system_error& error) {
    Q5_LOG_ERROR(measurementL, "no thread for the pending frequency: %s\n", error.what());
    return -1;
  }
  return 0;
}

void PendingFrequency::Post(const Step& step) {
  const std::lock_guard lock(mutex_);
  next_ = step;
  changed_.notify_one();
}

void PendingFrequency::End() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

void PendingFrequency::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || next_; });
    if (ended_) return;
    const Step step = *std::exchange(next_, std::nullopt);
    lock.unlock();
    apply_(step);
    lock.lock();
  }
}

}  // namespace Mos

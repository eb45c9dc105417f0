#include "mos/instrument/source_events.h"

#include <system_error>
#include <utility>

#include "common/log/log_limit.h"
#include "platform/guarded.h"

namespace Mos {
namespace {

constexpr std::size_t kMostWaiting = 32;

}  // namespace

int SourceEvents::Start(Apply apply) {
  apply_ = std::move(apply);
  try {
    thread_ = std::thread([this] { platform::GuardedLoop("source events", [this] { Run(); }); });
  } catch (const std::system_error& error) {
    Q5_LOG_ERROR(measurementL, "no thread for the source's events: %s\n", error.what());
    return -1;
  }
  return 0;
}

void SourceEvents::Post(const Item& item) {
  const std::lock_guard lock(mutex_);
  if (!waiting_.empty() && waiting_.back() == item) return;
  if (waiting_.size() >= kMostWaiting) {
    Q5_LOG_SELDOM(Logger::kError, measurementL,
                  "too many events of the source wait: one is lost\n");
    return;
  }
  waiting_.push_back(item);
  changed_.notify_one();
}

void SourceEvents::End() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

void SourceEvents::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || !waiting_.empty(); });
    if (ended_) return;
    const Item item = waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    apply_(item);
    lock.lock();
  }
}

}  // namespace Mos

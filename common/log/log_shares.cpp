#include "common/log/log_shares.h"

#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "common/log/log_line.h"
#include "platform/guarded.h"

namespace Logger {
namespace {

bool Store(const std::string& target, int result) {
  if (result == 0) return true;
  Q5_LOG_WARNING(mainL, "Logger: cannot store %s: %s\n", target.c_str(), std::strerror(errno));
  return false;
}

}  // namespace

bool StoreLog(const Extent& from, const std::string& place, const RotatedLog& log) {
  const std::string ring = place + log.ring;
  const bool stored = Store(ring, log.append ? CatTwoFiles(from, ring) : FileCopy(from, ring));
  if (!log.boot.empty()) Store(place + log.boot, FileCopy(from, place + log.boot));
  return stored;
}

void StoreNumbers(const std::string& place, const RotatedLog& log) {
  if (WriteText(place + log.number_file, log.numbers) == 0) return;
  Q5_LOG_AT(place.empty() ? kError : kWarning, mainL, "open error %s\n", std::strerror(errno));
}

// Nothing is logged under the lock: a line may start a rotation, which comes back to here.
void Share::Post(Copy copy) {
  bool dropped = false;
  bool runs = false;
  {
    const platform::Lock lock(mutex_);
    dropped = waiting_.size() == kMostWaiting;
    if (dropped) waiting_.pop_front();
    waiting_.push_back(std::move(copy));
    runs = runs_ = runs_ || StartThread();
  }
  wake_.notify_one();
  if (dropped) {
    Q5_LOG_WARNING(mainL, "Logger: %s hangs, it misses a log\n", mount_.c_str());
  }
  if (!runs) {
    Q5_LOG_WARNING(mainL, "Logger: no thread to copy logs to %s\n", mount_.c_str());
  }
}

bool Share::StartThread() {
  try {
    std::thread([this] { Run(); }).detach();
    return true;
  } catch (const std::exception&) {  // no thread, or no memory for one
    return false;
  }
}

void Share::Run() {
  for (;;) {
    platform::Lock lock(mutex_);
    wake_.wait(lock, [this]() Q5_REQUIRES(mutex_) { return !waiting_.empty(); });
    const Copy copy = std::move(waiting_.front());
    waiting_.pop_front();
    copies_ = true;
    lock.Unlock();
    platform::Guarded("Logger.Share", [&] {
      if (StoreLog(copy.from, mount_, copy.log)) *copy.stored = true;
      StoreNumbers(mount_, copy.log);
    });
    lock.Relock();
    copies_ = false;
  }
}

Share& ShareOf(std::size_t module) {
  static const auto& shares = *new std::array<Share*, kMounts.size()>{
      new Share(kMounts[0]), new Share(kMounts[1]), new Share(kMounts[2])};
  return *shares[module];
}

bool SharesAreIdle() {
  for (std::size_t module = 0; module < kMounts.size(); ++module) {
    Share& share = ShareOf(module);
    const platform::Lock lock(share.mutex_);
    if (share.copies_ || !share.waiting_.empty()) return false;
  }
  return true;
}

}  // namespace Logger

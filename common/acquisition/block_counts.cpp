#include "common/acquisition/block_counts.h"

#include "common/log/log_line.h"

namespace acquisition {

void BlockCounts::WakeConsumer() {
  {
    const platform::Lock lock(g_pmutex);
    signalled_ = true;
  }
  g_pcond.notify_one();  // without the lock, which the consumer wants at once
}

bool BlockCounts::Await() {
  platform::Lock lock(g_pmutex);
  if (g_consumedBlockCount == g_sampleBlockCount && !signalled_ && !ended_) {
    Q5_LOG_DEBUG(acquisitionL, "Consumer blocked.. last processed block = %d\n",
                 g_consumedBlockCount.load());
    g_pcond.wait(lock, [this]() Q5_REQUIRES(g_pmutex) { return signalled_ || ended_; });
    Q5_LOG_DEBUG(acquisitionL, "Consumer unblocked \n");
  }
  signalled_ = false;
  working_ = !ended_;
  return working_;
}

void BlockCounts::Consumed() {
  const platform::Lock lock(g_pmutex);
  g_consumedBlockCount = GetSampleBlockCount();
  working_ = false;
  rests_.notify_all();
}

void BlockCounts::Drain() {
  platform::Lock lock(g_pmutex);
  while (!IsDrained() && !ended_) {
    signalled_ = true;
    g_pcond.notify_one();
    rests_.wait(lock);
  }
  // a wake-up left over would send an event for a stream that has ended
  signalled_ = false;
}

void BlockCounts::Clear() {
  const platform::Lock lock(g_pmutex);
  g_sampleBlockCount = 0;
  g_consumedBlockCount = 0;
}

void BlockCounts::End() {
  const platform::Lock lock(g_pmutex);
  ended_ = true;
  g_pcond.notify_all();
  rests_.notify_all();
}

}  // namespace acquisition

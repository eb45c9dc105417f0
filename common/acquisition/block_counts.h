// Blocks copied and blocks seen, and how the producer wakes the consumer.
//
// One wake-up covers all blocks so far. Wake-ups that come while the consumer works are kept as
// one.
#pragma once

#include <atomic>
#include <condition_variable>

#include "platform/thread_safety.h"

namespace acquisition {

/// Threads: any.
class BlockCounts {
 public:
  void IncrSampleBlockCount() { g_sampleBlockCount.fetch_add(1, std::memory_order_release); }
  int GetSampleBlockCount() const { return g_sampleBlockCount.load(std::memory_order_acquire); }
  int GetConsumerBlockCount() const { return g_consumedBlockCount; }

  void WakeConsumer();

  // --- The consumer ---

  /// Waits for blocks that the consumer has not seen, or for a wake-up. False at the end. From here
  /// to Consumed the consumer works.
  bool Await();
  /// All blocks so far count as consumed, also those that came while the consumer worked.
  void Consumed();

  // --- Whoever stops acquisition; nobody copies blocks meanwhile ---

  /// Wakes the consumer until it has seen every block and rests.
  void Drain();
  /// Sets both counts to 0. Requires Drain before.
  void Clear();
  /// From now on Await returns false.
  void End();

 private:
  bool IsDrained() const Q5_REQUIRES(g_pmutex) {
    return !working_ && g_consumedBlockCount == g_sampleBlockCount;
  }

  std::atomic<int> g_sampleBlockCount{0};
  std::atomic<int> g_consumedBlockCount{0};
  platform::Mutex g_pmutex;
  std::condition_variable g_pcond;
  std::condition_variable rests_;
  bool signalled_ Q5_GUARDED_BY(g_pmutex) = false;
  bool working_ Q5_GUARDED_BY(g_pmutex) = false;
  bool ended_ Q5_GUARDED_BY(g_pmutex) = false;
};

}  // namespace acquisition

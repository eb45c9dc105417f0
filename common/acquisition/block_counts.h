// Blocks copied and blocks seen, and how the producer wakes the consumer.
//
// One wake-up covers all blocks so far. A wake-up that comes while the consumer works is kept, one;
// two of them are one as well.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace acquisition {

/// Threads: any.
class BlockCounts {
 public:
  void IncrSampleBlockCount() { g_sampleBlockCount.fetch_add(1, std::memory_order_release); }
  int GetSampleBlockCount() const { return g_sampleBlockCount.load(std::memory_order_acquire); }
  int GetConsumerBlockCount() const { return g_consumedBlockCount; }

  void WakeConsumer();

  // --- The consumer ---

  /// Waits for blocks that it has not seen, or for a wake-up. False at the end. What follows up to
  /// Consumed is its work.
  bool Await();
  /// Everything so far counts as consumed, also what came while it worked.
  void Consumed();

  // --- Whoever stops acquisition; nobody copies blocks meanwhile ---

  /// Wakes the consumer until it has seen every block and rests.
  void Drain();
  /// Both counts to 0. Requires that Drain came before.
  void Clear();
  /// Await gives false from now on.
  void End();

 private:
  bool IsDrained() const { return !working_ && g_consumedBlockCount == g_sampleBlockCount; }

  std::atomic<int> g_sampleBlockCount{0};
  std::atomic<int> g_consumedBlockCount{0};
  std::mutex g_pmutex;  ///< guards the fields below
  std::condition_variable g_pcond;
  std::condition_variable rests_;
  bool signalled_ = false;
  bool working_ = false;
  bool ended_ = false;
};

}  // namespace acquisition

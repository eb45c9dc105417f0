// Watches that blocks keep coming while a test runs.
//
// Only the time that the producer waits for the driver counts, not its work on a block: a slow disk
// does not stop the stream.
#pragma once

#include <atomic>
#include <condition_variable>
#include <thread>

#include "common/acquisition/sample_channel.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"

namespace acquisition {

class StreamWatch {
 public:
  /// `channels` outlives it.
  explicit StreamWatch(SampleChannels& channels) : channels_(channels) {}
  ~StreamWatch();
  /// Starts the thread.
  void Start();
  /// Blocks are of `pairs` pairs from now on.
  void Begin(int pairs);

  /// A test goes on whose latest block is older than it may be, so the results are too: what was
  /// held up may have been the whole daemon. Threads: any.
  bool IsStale() const;

  // --- The producer ---

  /// The producer waits for a new block from now on, if it does not already.
  void Waits();
  /// A new block has come. True when the watch had found that the stream stood still.
  bool BlockCame();
  /// The producer has caught up with the driver: the results contain the latest block.
  void CaughtUp() { newest_since_ = asked_at_; }
  /// The error word for a stream that has stopped.
  static void RaiseStop();
  /// A test is set up, and its first update has set the clock.
  static bool IsUpdated();
  /// Sampling has ended: no block is expected.
  void Rest() { BlockCame(); }

 private:
  void Run();
  void Look();
  /// A test wants samples.
  static bool IsWanted();
  platform::Nanoseconds Limit() const;
  void Report(platform::Nanoseconds waited);

  static constexpr platform::Nanoseconds kNotWaiting{-1};

  SampleChannels& channels_;
  std::atomic<platform::Nanoseconds> waiting_since_{kNotWaiting};  ///< monotonic
  std::atomic<platform::Nanoseconds> newest_since_{};  ///< the latest block is not older
  std::atomic<bool> stands_still_{false};
  std::atomic<int> pairs_{0};

  // of the producer
  platform::Nanoseconds asked_at_{0};  ///< when it began to wait for the block that came

  // of the thread
  platform::Nanoseconds wanted_since_{0};
  platform::Nanoseconds looked_at_{kNotWaiting};  ///< the wait that looks_ counts for
  int looks_ = 0;

  platform::Mutex mutex_;
  std::condition_variable wake_;
  bool ended_ Q5_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace acquisition

// The producer: takes each new block from the driver's ring, checks it and copies it to the pool.
// From there data only flows forward: the slow filter's products to the fast filter, its figures to
// the channels, the phasors of both to the corrections and on to the electrical results. When all
// reported blocks are handled, the producer wakes the consumer.
//
// Positions and counters are in the driver's unit, pages of 512 pairs, and wrap at 32 bits.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <optional>
#include <thread>

#include "common/acquisition/block_counts.h"
#include "common/acquisition/block_layout.h"
#include "common/acquisition/correct.h"
#include "common/acquisition/driver_attribute.h"
#include "common/acquisition/filters.h"
#include "common/acquisition/sample_pool.h"
#include "common/acquisition/sample_ring.h"
#include "common/acquisition/sample_stream.h"
#include "common/acquisition/snapshot.h"
#include "common/acquisition/stream_watch.h"
#include "common/acquisition/waveform_capture.h"
#include "common/electrical/elec.h"
#include "common/log/histogram.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace acquisition {

class Producer {
 public:
  /// What it works with; all of it outlives the producer.
  struct Parts {
    int fpga_fd;
    SampleRing& ring;
    SampleStream& stream;
    SamplePool& pool;
    BlockCounts& counts;
    Snapshot& snapshot;
    SampleChannels& channels;
    Correct& correct;
    elec& results;
  };

  explicit Producer(const Parts& parts) : parts_(parts), watch_(parts.channels) {}
  ~Producer();

  /// Opens its files. The path that could not be opened, or null.
  const char* Open();
  /// Starts the thread, which waits for Begin.
  void Start();

  /// Sampling has started, from page 0. `filters` are this run's and live until Halt has returned.
  void Begin(const BlockLayout& layout, Filters& filters);
  /// After this returns no block is handled until Begin.
  void Halt();
  bool IsRunning() const { return g_running; }
  /// A test runs whose blocks have not been handled for too long, also because sampling was stopped
  /// or could not be.
  bool IsStale() const { return watch_.IsStale(); }
  /// Calls `work` while no block is handled.
  template <class Work>
  void BetweenBlocks(Work work) {
    const platform::Lock lock(pass_mutex_);
    work();
  }

  /// 0: off; 2: a capture every pass; 1: one more, then off.
  std::atomic<int> g_waveformCaptureRunning{0};

 private:
  /// The state of one run; the producer's thread only.
  struct Run {
    unsigned number = 0;
    BlockLayout layout;
    std::uint32_t backlog = 0;   ///< pages
    std::uint32_t previous = 0;  ///< the driver's counter at the pass before
    std::uint32_t position = 0;  ///< pages handled
    std::size_t source = 0;      ///< offset in the ring
    bool jumped = false;         ///< the counter has reported several blocks at once
    bool shed = false;           ///< the block before was not summed
    bool lost = false;           ///< the driver failed: the stream has to be started again
  };

  void RunProducer();
  bool AwaitRun(Run& run);
  void Pass(Run& run);
  std::optional<std::uint32_t> ReadCounter(Run& run);
  void PauseAfterFailure();
  void NoteCounterBack(Run& run, std::uint32_t counter);
  void StartAgain(Run& run);
  void ReportStartAgain() const;

  void CheckStatus(const Run& run);
  void RaiseOnce(short code);
  void CaptureWaveform(const Run& run);

  void HandleNewBlocks(Run& run, std::uint32_t counter) Q5_REQUIRES(pass_mutex_);
  void CheckCounter(Run& run, std::uint32_t counter) Q5_REQUIRES(pass_mutex_);
  bool IsFarBehind(const Run& run, std::uint32_t counter) const;
  void SkipTo(Run& run, std::uint32_t counter);
  static void Advance(Run& run);

  void HandleBlock(Run& run, std::uint32_t counter) Q5_REQUIRES(pass_mutex_);
  const int* CopyBlock(Run& run);
  static bool IsLost(const Run& run, std::size_t written);
  bool IsSkipped(const Run& run, std::uint32_t counter, bool last) const Q5_REQUIRES(pass_mutex_);
  void Process(Run& run, const int* block, int pairs) Q5_REQUIRES(pass_mutex_);
  const PairFigures& Correlate(const int* block, int pairs) Q5_REQUIRES(pass_mutex_);
  void Publish(int filtertype, SineCorrelator& filter, const FinishedCycle* cycle);
  void ReportUnexpected(double magnitude) const;
  void FollowSlowTest(const PairFigures& figures) Q5_REQUIRES(pass_mutex_);
  bool IsSmooth() const;
  void ResetSums(Run& run) Q5_REQUIRES(pass_mutex_);
  void ServeResetRequest(Run& run) Q5_REQUIRES(pass_mutex_);
  void PrintHistograms();
  void CheckOverflow();
  void WakeConsumer();

  const Parts parts_;
  DriverAttribute overflow_;
  platform::UniqueFd waveform_file_;
  WrapCount waveform_wrap_;
  Logger::Histogram update_times_{0, 20000, 20, "SineCorr Filter Update"};
  Logger::Histogram statistics_times_{0, 5000, 10, "SigStat"};
  StreamWatch watch_;
  bool read_failed_ = false;

  platform::Mutex g_producer_start;
  std::condition_variable g_producer_block;
  BlockLayout layout_ Q5_GUARDED_BY(g_producer_start);
  bool ended_ Q5_GUARDED_BY(g_producer_start) = false;

  /// Held while blocks are handled, so that Halt can wait for their end. It guards filters_ and the
  /// two fields after it.
  platform::Mutex pass_mutex_;
  Filters* filters_ Q5_GUARDED_BY(pass_mutex_) = nullptr;
  std::atomic<bool> g_running{false};
  std::atomic<unsigned> run_number_{0};
  std::thread thread_;
};

}  // namespace acquisition

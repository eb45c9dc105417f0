// Acquisition of both channels' samples: its parts, its start and its stop.
//
//   driver's ring ──> producer ──> pool ──> slow filter ──> fast filter ──> corrections ──> results
//                         │          │           └────> channels: figures, statistics
//                         │          └────> snapshots
//                         └ wakes ──> consumer ──> an event for both channels
//
// Threads: the start-up thread calls InitAcquisition once; the thread of the request handlers calls
// the other operations.
#pragma once

#include <functional>
#include <mutex>

#include "common/acquisition/block_counts.h"
#include "common/acquisition/block_layout.h"
#include "common/acquisition/consumer.h"
#include "common/acquisition/filters.h"
#include "common/acquisition/producer.h"
#include "common/acquisition/sample_pool.h"
#include "common/acquisition/sample_ring.h"
#include "common/acquisition/sample_stream.h"
#include "common/acquisition/snapshot.h"

namespace acquisition {

inline constexpr long kReferenceFrequency = 12500000;  ///< Hz
inline constexpr long kClockDivider = 32;

/// A value below 1 takes its default.
struct MeasurementParameters {
  int pairs = 0;            ///< in a block; 1024, also for a number that does not fit the ring
  long refFrequency = 0;    ///< Hz; kReferenceFrequency
  long clockDivider = 0;    ///< kClockDivider
  int samplesPerCycle = 0;  ///< as the test frequency requires
  int filterReset = 0;      ///< pairs between the fast filter's resets; a cycle
  int swapChannels = 0;     ///< 1: the voltage is on channel 2
};

class Acquisition {
 public:
  /// Where the samples go. All of it outlives acquisition.
  struct Outputs {
    SampleChannels& channels;
    Correct& correct;
    elec& results;
    std::function<void()> slow_filter_reset = {};  ///< called at each
  };

  /// `fpga_fd` is the FPGA device's descriptor and stays open as long as this lives.
  Acquisition(int fpga_fd, const Outputs& outputs);
  ~Acquisition();

  /// Opens the files, maps the ring, allocates the pool, starts the threads. When one of them
  /// fails: -1, with the reason on the standard error stream, and nothing runs.
  int InitAcquisition();
  /// Makes the filters for the present test frequency. Requires that acquisition is stopped. -1
  /// when the driver refuses the block size.
  int SetMeasurementParameters(const MeasurementParameters& parameters);
  /// -1 before InitAcquisition and SetMeasurementParameters. A refusal of the driver is only
  /// logged.
  int StartAcquisition();
  /// Waits until the consumer has seen every block, then deletes the filters. 0; 1 when the device
  /// cannot be opened; the driver's errno.
  int StopAcquisition();

  /// Null while acquisition is stopped. Valid until StopAcquisition, so only for the thread that
  /// calls that.
  SineCorrelator* FastFilter() { return filters_.fast.get(); }
  SineCorrelator* SlowFilter() { return filters_.slow.get(); }
  Averager* AverageFilter() { return filters_.average.get(); }
  /// For any other thread: calls `use` with the fast and the slow filter, which are not deleted
  /// meanwhile; not while acquisition is stopped.
  template <class Use>
  void WithFilters(Use use) {
    const std::lock_guard lock(filters_mutex_);
    if (filters_.fast && filters_.slow) use(*filters_.fast, *filters_.slow);
  }
  const BlockCounts& Counts() const { return counts_; }
  bool IsRunning() const { return producer_.IsRunning(); }
  /// See Producer.
  bool IsStale() const { return producer_.IsStale(); }
  /// Calls `work` while no block is handled, for changes that the filters must not see within a
  /// block.
  template <class Work>
  void BetweenBlocks(Work work) {
    producer_.BetweenBlocks(work);
  }
  /// See Producer::g_waveformCaptureRunning.
  void SetWaveformCapture(int mode) { producer_.g_waveformCaptureRunning = mode; }

 private:
  const char* OpenFiles();
  void EndRun();
  /// To be called while the producer works on no block.
  void ReplaceFilters(Filters filters);

  const Outputs outputs_;
  std::mutex stop_mutex_;     ///< one stop at a time
  std::mutex filters_mutex_;  ///< held to replace the filters
  BlockLayout layout_;
  SampleRing ring_;
  SampleStream stream_;
  SamplePool pool_;
  BlockCounts counts_;
  Filters filters_;
  Snapshot snapshot_{pool_};
  Consumer consumer_;
  Producer producer_;
  bool g_initComplete = false;
};

}  // namespace acquisition

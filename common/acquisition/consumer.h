// The consumer: turns the arrival of blocks into one event for the channels, and keeps a record of
// how far producer and consumer have come.
#pragma once

#include <atomic>
#include <thread>

#include "common/acquisition/block_counts.h"
#include "common/acquisition/driver_attribute.h"
#include "common/acquisition/sample_channel.h"
#include "platform/clock.h"
#include "platform/unique_fd.h"

namespace acquisition {

/// "/tmp/counters": a line each wake-up, a full one every 11 seconds. Begins again when it has
/// become long.
class CounterFile {
 public:
  struct Counts {
    const char* interrupts;
    const char* received;
    int produced;
    int consumed;
  };

  /// False when the file cannot be made.
  bool Create();
  /// Empties it and writes its heading.
  void Begin(int blocks_per_chunk, int blocks_in_pool);
  void Add(const Counts& counts, platform::Nanoseconds since_start);

 private:
  bool IsFullLineDue(long minutes, long seconds) const;
  void Write(const char* text, int size);

  platform::UniqueFd file_;
  int blocks_per_chunk_ = 0;
  int blocks_in_pool_ = 1;
  long size_ = 0;
  long last_minutes_ = 0;  ///< of the last full line
  long last_seconds_ = 0;
};

class Consumer {
 public:
  /// Both outlive it.
  Consumer(BlockCounts& counts, SampleChannels& channels) : counts_(counts), channels_(channels) {}
  ~Consumer();

  /// Opens its files. The path that could not be opened, or null.
  const char* Open();
  void Start();

  /// Acquisition starts, with this number of blocks in a chunk of the pool. Requires that the
  /// consumer rests.
  void Begin(int blocks_per_chunk);

 private:
  void RunConsumer();
  void Notify();
  void CountBlocks();

  BlockCounts& counts_;
  SampleChannels& channels_;
  DriverAttribute block_index_;
  DriverAttribute received_;
  CounterFile counter_file_;
  std::atomic<int> blocks_per_chunk_{0};
  std::atomic<platform::Nanoseconds> g_startTime{platform::Nanoseconds(0)};
  std::atomic<bool> g_consumerinit{false};
  std::thread thread_;
};

}  // namespace acquisition

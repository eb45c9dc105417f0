// Snapshots: a user's command file asks for raw samples in a file.
//
// The producer looks for a command after each block and announces new blocks. A separate thread
// copies from the pool, so that no disk delays the producer.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <thread>

#include "common/acquisition/sample_pool.h"
#include "common/acquisition/snapshot_command.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace acquisition {

class Snapshot {
 public:
  /// `pool` outlives it.
  explicit Snapshot(const SamplePool& pool) : pool_(pool) {}
  ~Snapshot();

  /// Makes the command file and the scratch file. The path that could not be made, or null.
  const char* Open();
  void Start();

  // --- The producer ---

  /// After a block: takes a command, or ends a snapshot that is complete.
  void CheckSnapShot();
  /// After a pass.
  void Wake();
  /// To be called before the pool begins again, by the thread that starts acquisition: a snapshot
  /// under way ends with the samples that it has, and the call waits for that.
  void Abandon();

 private:
  enum class State { kNone, kRunning, kComplete };

  void TakeCommand();
  void RunSnapshot();
  void Capture(const SnapshotCommand& command, std::uint64_t page);
  /// Waits until the pool has pages up to `end`. False when the snapshot is to end.
  bool AwaitPages(std::uint64_t end);
  /// Returns the lines or pairs written. `page` is a page of the pool, `wanted` the number still to
  /// write.
  std::int64_t CaptureToFile(const SnapshotCommand& command, std::uint64_t page,
                             std::int64_t wanted);
  std::int64_t WriteLines(const int* words, int rate, std::int64_t wanted);
  bool MoveToOutput(const SnapshotCommand& command);
  void MoveIfLarge(const SnapshotCommand& command);
  static void Send(const SnapshotCommand& command);

  const SamplePool& pool_;
  platform::UniqueFd command_file_;
  platform::UniqueFd scratch_;
  std::int64_t zero_pairs_ = 0;  ///< of the snapshot under way

  platform::Mutex g_smutex;
  std::condition_variable g_triggersnapshot;
  std::condition_variable g_snapshotdata;
  SnapshotCommand command_ Q5_GUARDED_BY(g_smutex);
  std::uint64_t first_page_ Q5_GUARDED_BY(g_smutex) = 0;
  bool abandoned_ Q5_GUARDED_BY(g_smutex) = false;
  bool reading_ Q5_GUARDED_BY(g_smutex) = false;  ///< the thread reads the pool
  bool ended_ Q5_GUARDED_BY(g_smutex) = false;
  std::atomic<State> g_snapshotStart{State::kNone};
  std::thread thread_;
};

}  // namespace acquisition

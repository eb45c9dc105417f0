// Evaluates the status bits of a block's samples: overrange, faults, a busy CPLD.
//
// Threads: the producer.
#pragma once

#include "common/acquisition/dobj.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/acquisition/ranging/block_scan.h"

namespace SignalCalculator {

/// The most pairs of a block.
inline constexpr int kMostPairs = 4096;

class SignalStatistics : public DObj {
 public:
  /// The channels outlive the object.
  SignalStatistics(AcquisitionSystem::AcqChan& first, AcquisitionSystem::AcqChan& second);

  /// Looks at a block before the correlators take it: samples over range spoil their result.
  void expect_block(const int* block, int nr_sample_pairs);
  /// Takes a block of `nr_sample_pairs` pairs (1 to kMostPairs) that the correlators have seen. 0;
  /// -1 for a sequence or sync error, or a count that is not supported.
  int process_sample_buff(const int* block, int nr_sample_pairs);

  /// Writes the first 512 pairs of a block as text to "/var/volatile/datablock.txt". 0 or -1.
  int CaptureToFile(const int* block) const;

 private:
  void Judge(AcquisitionSystem::AcqChan& channel, const ChannelScan& scan, bool bad_sequence,
             int pairs);
  void JudgeOverRange(AcquisitionSystem::AcqChan& channel, int over_range, int pairs);
  static void JudgeGood(AcquisitionSystem::AcqChan& channel, int pairs);

  std::array<AcquisitionSystem::AcqChan*, ACQ_CHAN_COUNT> channels_;
};

}  // namespace SignalCalculator

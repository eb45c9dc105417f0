// Whether a channel's result is made of good samples only.
//
// A cause spoils the result: samples over range, or a stream that stands still. From then on the
// status word carries the bits of that cause. They are cleared together when the correlators have
// stored a result whose samples all came after the last cause, at the earliest after a whole cycle.
//
// Threads: any.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread_safety.h"

namespace AcquisitionSystem {

class ResultGuard {
 public:
  /// The contents of the correlators since their last reset.
  struct Sums {
    std::int64_t pairs = 0;
    bool has_result = true;  ///< of a whole cycle
  };

  /// The status word carries `bits` until good samples have made a result.
  void Spoil(unsigned short bits);
  /// The status word carries `bits` until BeginTest.
  void SpoilTest(unsigned short bits) { test_bits_ = bits; }
  void BeginTest() { test_bits_ = update_bits_ = 0; }
  /// As SpoilTest, but the next accepted update ends it: an update that was refused half-way leaves
  /// clock, filters and parameters that do not belong together.
  void SpoilUpdate(unsigned short bits) { update_bits_ = bits; }

  /// The correlators have taken a block of good samples; a cycle spans `blocks` of them. True when
  /// the sums still contain samples from before, so that they have to begin again.
  bool TakeGood(int pairs, int blocks, const Sums& sums);
  /// Valid again without a result when the sums contain no bad sample: for a cycle so slow that
  /// nobody waits for it.
  void AcceptOpenCycle(const Sums& sums);
  /// The correlators have taken a block with bad samples. Returns the blocks since the result was
  /// valid.
  int TakeBad();
  /// A block without a kept result: the samples that the guard waits for are still to come.
  void Restart();

  bool IsSpoilt() const { return word_ != 0; }
  std::uint16_t Word() const {
    return static_cast<std::uint16_t>(word_ | test_bits_ | update_bits_);
  }

 private:
  std::atomic<std::uint16_t> word_{0};
  std::atomic<std::uint16_t> test_bits_{0};
  std::atomic<std::uint16_t> update_bits_{0};
  platform::Mutex mutex_;  ///< held to change word_, too
  std::int64_t good_pairs_ Q5_GUARDED_BY(mutex_) = 0;
  int good_blocks_ Q5_GUARDED_BY(mutex_) = 0;
  int spoilt_blocks_ Q5_GUARDED_BY(mutex_) = 0;
};

}  // namespace AcquisitionSystem

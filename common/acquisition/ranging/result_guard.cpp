#include "common/acquisition/ranging/result_guard.h"

namespace AcquisitionSystem {

void ResultGuard::Spoil(unsigned short bits) {
  const platform::Lock lock(mutex_);
  word_ |= bits;
  good_pairs_ = 0;
  good_blocks_ = 0;
}

bool ResultGuard::TakeGood(int pairs, int blocks, const Sums& sums) {
  if (word_ == 0) return false;
  const platform::Lock lock(mutex_);
  good_pairs_ += pairs;
  ++good_blocks_;
  ++spoilt_blocks_;
  if (sums.pairs > good_pairs_) return true;
  if (!sums.has_result || good_blocks_ < blocks) return false;
  word_ = 0;
  spoilt_blocks_ = 0;
  return false;
}

void ResultGuard::Restart() {
  const platform::Lock lock(mutex_);
  good_pairs_ = 0;
  good_blocks_ = 0;
}

void ResultGuard::AcceptOpenCycle(const Sums& sums) {
  const platform::Lock lock(mutex_);
  if (sums.pairs > good_pairs_) return;
  word_ = 0;
  spoilt_blocks_ = 0;
}

int ResultGuard::TakeBad() {
  const platform::Lock lock(mutex_);
  return ++spoilt_blocks_;
}

}  // namespace AcquisitionSystem

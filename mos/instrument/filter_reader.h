// Access to the filters for threads that do not start and stop acquisition: timers, and a ramp of
// the FPGA that waits for readings.
#pragma once

#include <mutex>

#include "common/acquisition/acquisition.h"

namespace Mos {

/// Threads: any.
class FilterReader {
 public:
  /// After null nothing is read. No reading is under way once this has returned.
  void Attach(acquisition::Acquisition* acquisition) {
    const std::lock_guard lock(mutex_);
    acquisition_ = acquisition;
  }
  /// Calls `use` with the fast and the slow filter; not while acquisition is stopped.
  template <class Use>
  void WithFilters(Use use) {
    const std::lock_guard lock(mutex_);
    if (acquisition_ != nullptr) acquisition_->WithFilters(use);
  }

 private:
  std::mutex mutex_;
  acquisition::Acquisition* acquisition_ = nullptr;
};

}  // namespace Mos

// Follows the averages of both channels, block by block, in very-low-frequency tests.
//
// Threads: update by the producer; the others from any.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "common/acquisition/block_figures.h"
#include "common/xml/cal_tables.h"
#include "platform/thread_safety.h"

namespace acquisition {

class Averager {
 public:
  /// Modes are those of Msg::Input_Mode, ranges count from 1.
  Averager(std::int64_t samplesPerCycle, int swapChannels, int modeCh1, int modeCh2, int rangeCh1,
           int rangeCh2);
  Averager(const Averager&) = delete;
  Averager& operator=(const Averager&) = delete;

  /// 0; -1 when a mode has no entries, and then that channel's stays as it was.
  int SetChannelModes(int mode1, int mode2, int range1, int range2);
  /// Takes a block's averages; `scales` are those of the ranges in use, V or A a count.
  void update(const PairFigures& figures, const std::array<double, 2>& scales);
  /// The averages stored last, V or A.
  void GetPhasors(double* averages) const;
  void Reinit(std::int64_t samplesPerCycle) { _samples_per_cycle = samplesPerCycle; }

 private:
  int GetScaleFactors() Q5_REQUIRES(averagelock_);
  void StoreResult();

  std::atomic<std::int64_t> _samples_per_cycle;
  const int _swapchannels;
  mutable platform::Mutex averagelock_;
  const Dev::mode_range_table_ent* _ch1_measurementmode Q5_GUARDED_BY(averagelock_) = nullptr;
  const Dev::mode_range_table_ent* _ch2_measurementmode Q5_GUARDED_BY(averagelock_) = nullptr;
  int _modech1 Q5_GUARDED_BY(averagelock_) = 0;
  int _modech2 Q5_GUARDED_BY(averagelock_) = 0;
  int _rangech1 Q5_GUARDED_BY(averagelock_) = 0;
  int _rangech2 Q5_GUARDED_BY(averagelock_) = 0;
  int _filterindex Q5_GUARDED_BY(averagelock_) = 0;  ///< buffer to write
  double _avgfilter[2][2] Q5_GUARDED_BY(averagelock_){};
  std::array<double, 2> _avg{};  ///< of the producer
};

}  // namespace acquisition

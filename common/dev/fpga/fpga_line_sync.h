// The waveform locked to the line, and the measurement of the line's frequency.
//
// Results are LF_ESTIMATOR_STATUS unless stated otherwise. All except the polarity need an FPGA
// version above 144. Threads: any, one sequence at a time.
#pragma once

#include <cstdint>

#include "common/dev/fpga/fpga_dev_base.h"
#include "common/msg/records/m3x64_num.h"

namespace Dev {

enum LF_ESTIMATOR_STATUS : int {
  LF_EST_COMPLETE = 0,
  LF_EST_NOT_DONE = -1,
  LF_EST_DISABLED = -2,
  LF_EST_ROLLOVER = -3,
  LF_EST_NOT_SUPPORTED = -4,
  LF_EST_IO_ERROR = -5,
  LF_EST_COUNT_TOO_BIG = -6,
  LF_EST_INVALID_PARAMETER = -7,
  LF_EST_TIMEOUT = -8,
};

struct lineSyncTrackerParams {
  std::uint16_t correctionRate;        ///< a power of 2 from 2 to 256
  std::uint16_t offsetThreshold;       ///< 1 to 255
  std::uint16_t correctionPulseLimit;  ///< 1 to 255
};

class FpgaLineSync : public virtual FpgaDevBase {
 public:
  FpgaLineSync() : FpgaDevBase(-1) {}

  /// Sets the tracker up and starts it together with the waveform, or stops it. A failure on the
  /// way leaves the waveform as after the last complete step: off, once the set-up has begun.
  int ConfigureLineSyncTracker(const lineSyncTrackerParams& params, int enable);
  /// Connects the line to the tracker.
  int FpgaLineSyncInit();
  /// 1 when the waveform is locked to the line, 0 when not, or an LF_ESTIMATOR_STATUS below 0.
  int SourceInLineSync();
  /// 0 when the waveform has the polarity, 1 while the change is pending, -1 when the FPGA has a
  /// request for the other polarity, LF_EST_IO_ERROR.
  int CheckWFPolarityCorrect(unsigned polarity);

  /// Measures over `cycles` cycles of the line, up to 31; 0 switches the estimator off.
  int StartLineFreqEstimator(unsigned cycles);
  /// `hertz` is written for LF_EST_COMPLETE only.
  int ReadLineFreqEstimate(m3x64_num* hertz);

 private:
  int CheckVersion(const char* func, int line);
  int ReadLsyn(int offset, unsigned& value, const char* func, int line);
  int WriteLsyn(int offset, unsigned value, const char* func, int line);
  int ChangeLsyn(int offset, unsigned clear, unsigned set, const char* func, int line);
  int StopTracker();
  int StartTracker(const lineSyncTrackerParams& params);
};

}  // namespace Dev

#include "common/dev/fpga/fpga_line_sync.h"

#include <bit>
#include <cerrno>
#include <cstring>

#include "common/log/log_line.h"

namespace Dev {

namespace {

constexpr unsigned kNeededVersion = 145;
constexpr unsigned kMinRate = 2;
constexpr unsigned kMaxRate = 256;
constexpr unsigned kMaxParameter = 255;
constexpr std::uint64_t kEstimatorClock = 12500000;  // Hz
constexpr std::uint64_t kLongestCycle = 265957;      // counts; the line never falls below 47 Hz
constexpr unsigned kHalfBits = 16;

constexpr bool IsParameter(unsigned value) { return value >= 1 && value <= kMaxParameter; }

int CheckParameters(const lineSyncTrackerParams& params) {
  const unsigned rate = params.correctionRate;
  if (!std::has_single_bit(rate) || rate < kMinRate || rate > kMaxRate) {
    Q5_LOG_ERROR_HERE(
        fpgaL, "%s.%d:LSYN Invalid parameter correctionRate %d,  Expected 2-256 power of 2.\n",
        static_cast<int>(rate));
    return LF_EST_INVALID_PARAMETER;
  }
  if (!IsParameter(params.correctionPulseLimit)) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d:LSYN Invalid parameter correctionPulseLimit:%d,  Expected 1-255.\n",
                      static_cast<int>(params.correctionPulseLimit));
    return LF_EST_INVALID_PARAMETER;
  }
  if (!IsParameter(params.offsetThreshold)) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d:LSYN Invalid parameter offsetThreshold:%d,  Expected 1-255.\n",
                      static_cast<int>(params.offsetThreshold));
    return LF_EST_INVALID_PARAMETER;
  }
  return LF_EST_COMPLETE;
}

constexpr unsigned RateField(unsigned rate) {
  return (static_cast<unsigned>(std::countr_zero(rate)) - 1) << kTrackerRateShift;
}

}  // namespace

int FpgaLineSync::ReadLsyn(int offset, unsigned& value, const char* func, int line) {
  if (ReadReg(offset, value) == 0) return LF_EST_COMPLETE;
  Q5_LOG_ERROR(fpgaL, "%s.%d:LSYN Unable to read register 0x%04X.  errno:%s\n", func, line,
               static_cast<unsigned>(offset), std::strerror(errno));
  return LF_EST_IO_ERROR;
}

int FpgaLineSync::WriteLsyn(int offset, unsigned value, const char* func, int line) {
  if (WriteReg(offset, value, line) == 0) return LF_EST_COMPLETE;
  Q5_LOG_ERROR(fpgaL, "%s.%d:LSYN Unable to write register 0x%04X.  errno:%s\n", func, line,
               static_cast<unsigned>(offset), std::strerror(errno));
  return LF_EST_IO_ERROR;
}

int FpgaLineSync::ChangeLsyn(int offset, unsigned clear, unsigned set, const char* func, int line) {
  if (ChangeReg(offset, clear, set, line) == 0) return LF_EST_COMPLETE;
  Q5_LOG_ERROR(fpgaL, "%s.%d:LSYN Unable to write register 0x%04X.  errno:%s\n", func, line,
               static_cast<unsigned>(offset), std::strerror(errno));
  return LF_EST_IO_ERROR;
}

int FpgaLineSync::CheckVersion(const char* func, int line) {
  unsigned version = 0;
  const int result = ReadLsyn(Q5FPGA_VERSION, version, func, line);
  if (result < 0) return result;
  version &= kVersionMask;
  if (version >= kNeededVersion) return LF_EST_COMPLETE;
  Q5_LOG_ERROR(fpgaL, "%s.%d:LSYN FPGA version 0x%04X required.  Current FPGA version 0x%04X\n",
               func, line, kNeededVersion, version);
  return LF_EST_NOT_SUPPORTED;
}

int FpgaLineSync::FpgaLineSyncInit() {
  return ChangeLsyn(Q5FPGA_MISC_STATCTL2_REG, 0, kLineSyncInit, __func__, __LINE__);
}

int FpgaLineSync::ConfigureLineSyncTracker(const lineSyncTrackerParams& params, int enable) {
  int result = CheckVersion(__func__, __LINE__);
  if (result < 0) return result;
  if (enable == 0) return StopTracker();
  result = CheckParameters(params);
  return result < 0 ? result : StartTracker(params);
}

int FpgaLineSync::StopTracker() {
  const int result = ChangeLsyn(Q5FPGA_WFORM_CTRL, Q5FPGA_WFCTL_SYNC_ENABLE, 0, __func__, __LINE__);
  if (result < 0) return result;
  return ChangeLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, kTrackerEnable, 0, __func__, __LINE__);
}

// The waveform stops while the tracker is set up, and starts again in step with the line.
int FpgaLineSync::StartTracker(const lineSyncTrackerParams& params) {
  constexpr char kCaller[] = "ConfigureLineSyncTracker";
  const auto write = [&](int offset, unsigned value, int line) {
    return WriteLsyn(offset, value, kCaller, line);
  };
  const auto change = [&](int offset, unsigned clear, unsigned set, int line) {
    return ChangeLsyn(offset, clear, set, kCaller, line);
  };
  if (write(Q5FPGA_LNSYNC_TRKR_OFF_THRESH_REG, params.offsetThreshold, __LINE__) < 0 ||
      write(Q5FPGA_LNSYNC_CORR_PULSE_LIM_REG, params.correctionPulseLimit, __LINE__) < 0 ||
      change(Q5FPGA_WFORM_CTRL, kWformEnable, 0, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  Q5_LOG_INFO(fpgaL, "%s.%d:LSYN  Turning off Q5FPGA_WFCTL_SYNC_ENABLE\n", kCaller, __LINE__);
  if (change(Q5FPGA_WFORM_CTRL, Q5FPGA_WFCTL_SYNC_ENABLE, 0, __LINE__) < 0 ||
      change(Q5FPGA_LNSYNC_CTL_STAT_REG, kTrackerEnable, 0, __LINE__) < 0 ||
      change(Q5FPGA_WFORM_CTRL, 0, Q5FPGA_WFCTL_SYNC_ENABLE, __LINE__) < 0 ||
      FpgaLineSyncInit() < 0) {
    return LF_EST_IO_ERROR;
  }
  constexpr unsigned kOld = kEstimatorEnable | kTrackerUnused | kTrackerRateMask;
  const unsigned set = RateField(params.correctionRate) | kTrackerEnable;
  if (change(Q5FPGA_LNSYNC_CTL_STAT_REG, kOld, set, __LINE__) < 0) return LF_EST_IO_ERROR;
  return change(Q5FPGA_WFORM_CTRL, 0, kWformEnable, __LINE__);
}

int FpgaLineSync::SourceInLineSync() {
  constexpr unsigned kInSync = Q5FPGA_WFCTL_SYNC_ENABLE | kWformEnable;
  constexpr unsigned kLocked = kTrackerEnable | kTrackerLocked;
  unsigned wfctrl = 0;
  unsigned status = 0;
  const int result = CheckVersion(__func__, __LINE__);
  if (result < 0) return result;
  if (ReadLsyn(Q5FPGA_WFORM_CTRL, wfctrl, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  if ((wfctrl & kInSync) != kInSync) return 0;
  if (ReadLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, status, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  if ((status & kLocked) == kLocked) {
    Q5_LOG_INFO_HERE(fpgaL,
                     "%s.%d:LSYN  Read Q5FPGA_LNSYNC_CTL_STAT_REG:0x%04X TRKR_EN:0x%04X "
                     "TRKR_LOCK:0x%04X\n",
                     status, status & kTrackerEnable, status & kTrackerLocked);
    return 1;
  }
  unsigned offset = 0;
  unsigned delta = 0;
  unsigned pulse = 0;
  if (ReadLsyn(Q5FPGA_LNSYNC_CUR_OFF_REG, offset, __func__, __LINE__) < 0 ||
      ReadLsyn(Q5FPGA_LNSYNC_CUR_OFF_DELTA_REG, delta, __func__, __LINE__) < 0 ||
      ReadLsyn(Q5FPGA_LNSYNC_CORR_PULSE_STAT_REG, pulse, __func__, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  Q5_LOG_INFO_HERE(
      fpgaL, "%s.%d:LSYN Q5FPGA_LNSYNC_CTL_STAT_REG:0x%04X Offset:%6d Delta:%6d Pulse:0x%04X\n",
      status, static_cast<std::int16_t>(offset), static_cast<std::int16_t>(delta), pulse);
  return 0;
}

int FpgaLineSync::CheckWFPolarityCorrect(unsigned polarity) {
  unsigned wfctrl = 0;
  if (ReadLsyn(Q5FPGA_WFORM_CTRL, wfctrl, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  const bool requested = (wfctrl & kWformPolarity) != 0;
  if (requested != (polarity != 0)) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d:LSYN Q5FPGA_WFORM_CTRL(0x%04X) value:0x%04X bit mask:0x%04X does not "
                      "match polarity:%d\n",
                      static_cast<unsigned>(Q5FPGA_WFORM_CTRL), wfctrl, kWformPolarity,
                      static_cast<int>(polarity));
    return -1;
  }
  const bool reached = (wfctrl & kWformPolarityStatus) != 0;
  return reached == requested ? 0 : 1;
}

int FpgaLineSync::StartLineFreqEstimator(unsigned cycles) {
  const int result = CheckVersion(__func__, __LINE__);
  if (result < 0) return result;
  if (cycles > kEstimatorCycles) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d:LSYN Invalid cycle count %d must be less than 32\n",
                      static_cast<int>(cycles));
    return LF_EST_INVALID_PARAMETER;
  }
  unsigned misc = 0;
  if (ReadLsyn(Q5FPGA_MISC_CTRL, misc, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  if ((misc & kMiscEstimatorHold) != 0 &&
      ChangeLsyn(Q5FPGA_MISC_CTRL, kMiscEstimatorHold, 0, __func__, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  unsigned status = 0;
  if (ReadLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, status, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  status = (status & ~(kEstimatorCycles | kEstimatorEnable)) | cycles;
  if (WriteLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, status, __func__, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  status = (status & ~kEstimateComplete) | (cycles != 0 ? kEstimatorEnable : 0);
  if (WriteLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, status, __func__, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  if (cycles != 0) {
    Q5_LOG_INFO_HERE(fpgaL, "%s.%d:LSYN estimator started\n");
  } else {
    Q5_LOG_INFO_HERE(fpgaL, "%s.%d:LSYN estimator disabled\n");
  }
  return LF_EST_COMPLETE;
}

int FpgaLineSync::ReadLineFreqEstimate(m3x64_num* hertz) {
  const int supported = CheckVersion(__func__, __LINE__);
  if (supported < 0) return supported;
  unsigned status = 0;
  unsigned high = 0;
  unsigned low = 0;
  if (ReadLsyn(Q5FPGA_LNSYNC_CTL_STAT_REG, status, __func__, __LINE__) < 0) return LF_EST_IO_ERROR;
  if ((status & kEstimatorEnable) == 0) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d:LSYN Line freq estimator not enabled.  Reg:0x%04X  value:0x%04X  "
                      "mask:0x%04X\n",
                      static_cast<unsigned>(Q5FPGA_LNSYNC_CTL_STAT_REG), status, kEstimatorEnable);
    return LF_EST_DISABLED;
  }
  if (ReadLsyn(Q5FPGA_LNSYNC_EST_HI_REG, high, __func__, __LINE__) < 0 ||
      ReadLsyn(Q5FPGA_LNSYNC_EST_LO_REG, low, __func__, __LINE__) < 0) {
    return LF_EST_IO_ERROR;
  }
  const std::uint64_t cycles = status & kEstimatorCycles;
  const std::uint64_t count = high << kHalfBits | low;
  const std::uint64_t longest = cycles * kLongestCycle;
  const std::uint64_t ceiling = longest + longest / 10;
  if (count > ceiling) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d:LSYN LNSYNC_EST register:%ld exceeds expected max value:%ld\n",
                      static_cast<long>(count), static_cast<long>(ceiling));
    return LF_EST_COUNT_TOO_BIG;
  }
  if (count == 0) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d:LSYN %d line cycles did not complete in 1.342 sec.  Estimator rolled "
                      "over.\n",
                      static_cast<int>(cycles));
    return LF_EST_ROLLOVER;
  }
  if ((status & kEstimateComplete) == 0) {
    Q5_LOG_INFO_HERE(fpgaL,
                     "%s.%d:LSYN Line freq estimate not complete.  Reg:0x%04X  value:0x%04X  "
                     "mask:0x%04X\n",
                     static_cast<unsigned>(Q5FPGA_LNSYNC_CTL_STAT_REG), status, kEstimateComplete);
    return LF_EST_NOT_DONE;
  }
  const std::uint64_t counted = cycles * kEstimatorClock;
  *hertz = {counted / count, counted % count, count};
  Q5_LOG_DEBUG_HERE(fpgaL, "%s.%d:LSYN Line frequency %f\n",
                    static_cast<double>(counted) / static_cast<double>(count));
  return LF_EST_COMPLETE;
}

}  // namespace Dev

// The FPGA's register map: byte offsets of 16-bit registers, names, and what the bus may write.
#pragma once

#include <cstdint>

#include "simulator/register_file.h"

namespace simulator::fpga {

enum Offset : std::uint16_t {
  kDeviceId = 0,
  kVersion = 2,
  kClkSel = 6,
  kDdsFreqLow = 8,
  kA2dCtrl = 14,
  kWformCtrl = 20,
  kMiscCtrl = 22,
  kCycleLength = 24,
  kAmpTarget = 30,
  kStepUp = 32,
  kUpdateRate = 34,
  kAmpValue = 36,
  kAmpManual = 38,
  kAmpTimer = 40,
  kRampCtl = 48,
  kStepDown = 50,
  kFreqEstLow = 52,
  kFreqEstHigh = 54,
  kHardLimit = 64,
  kLineSync = 74,
  kEstimateHigh = 76,
  kEstimateLow = 78,
  kOffsetThreshold = 90,
  kCurrentOffset = 92,
  kOffsetDelta = 94,
  kPulseLimit = 96,
  kPulseStatus = 98,
};

/// Bits of kA2dCtrl.
enum ConverterBit : std::uint16_t {
  kInvertChannel1 = 1U << 0,
  kInvertChannel2 = 1U << 1,
};

/// Bits of kWformCtrl.
enum WaveformBit : std::uint16_t {
  kPrimaryOn = 1U << 1,
  kWaveformOn = 1U << 4,
  kPolarityWanted = 1U << 8,
  kBufferWrite = 1U << 9,
  kDacOn = 1U << 10,
  kRampOn = 1U << 12,
  kSyncOn = 1U << 13,
  kPolarityNow = 1U << 15,
};

/// Bits of kRampCtl.
enum RampBit : std::uint16_t {
  kRampMode = 3,
  kRampUp = 1U << 2,
  kRampEnable = 1U << 3,
  kRampAtZero = 1U << 13,
  kRampAtTarget = 1U << 14,
  kRampBusy = 1U << 15,
};

/// Bits of kLineSync.
enum LineSyncBit : std::uint16_t {
  kEstimatorCycles = 0x1F,
  kEstimatorOn = 1U << 5,
  kTrackerOn = 1U << 13,
  kTrackerLocked = 1U << 14,
  kEstimateComplete = 1U << 15,
};
inline constexpr unsigned kTrackerRateShift = 10;
inline constexpr unsigned kTrackerRateMask = 7;

/// Bits of kMiscCtrl.
enum MiscBit : std::uint16_t {
  kSimulatedLine = 1U << 5,
  kStepPulseUp = 1U << 6,
  kStepPulseDown = 1U << 7,
};

/// Of kClkSel on the main module.
inline constexpr std::uint16_t kOledRun = 1U << 14;

inline constexpr std::uint16_t kAll = 0xFFFF;
inline constexpr std::uint16_t kNone = 0;

inline constexpr RegisterInfo kRegisters[] = {
    {kDeviceId, "Q5FPGA_DEVICE_ID", kNone},
    {kVersion, "Q5FPGA_VERSION", kNone},
    {4, "Q5FPGA_SCRATCH", kAll},
    {kClkSel, "Q5FPGA_CLK_SEL", kAll},
    {kDdsFreqLow, "REG_DDS_FREQ_LSHW", kAll},
    {10, "REG_DDS_FREQ_MSHW", kAll},
    {kA2dCtrl, "Q5FPGA_A2D_CTRL", kAll, 0x1040},
    {16, "Q5FPGA_A2D_SAMPLE_WR", kAll},
    {18, "Q5FPGA_A2D_STATUS", kNone},
    {kWformCtrl, "Q5FPGA_WFORM_CTRL", 0x7FFF},
    {kMiscCtrl, "Q5FPGA_MISC_CTRL", 0x3FFF},  // bits 14, 15: ALLOK input, module strap
    {kCycleLength, "REG_WAVEFORM_CYC_LEN", kAll},
    {26, "REG_WAVEFORM_SAMPLE_CT", kAll},
    {28, "REG_WAVEFORM_CYC_CT", kAll},
    {kAmpTarget, "Q5FPGA_AMP_TARGET", kAll},
    {kStepUp, "Q5FPGA_AMP_STEP_UP_VALUE", kAll},
    {kUpdateRate, "Q5FPGA_WFORM_UPD_RATE", kAll},
    {kAmpValue, "Q5FPGA_WFORM_AMP_VALUE", kNone},
    {kAmpManual, "Q5FPGA_WFORM_AMP_MANUAL", kAll},
    {kAmpTimer, "Q5FPGA_WFORM_AMP_TIMER", kAll},
    {42, "Q5FPGA_SYSTEM_ID_WORD1", kAll},
    {44, "Q5FPGA_SYSTEM_ID_WORD2", kAll},
    {46, "Q5FPGA_SYSTEM_ID_WORD3", kAll},
    {kRampCtl, "Q5FPGA_WFORM_RAMP_CTL", 0x1FFF, kRampAtZero},
    {kStepDown, "Q5FPGA_WFORM_STEP_DOWN", kAll},
    {kFreqEstLow, "Q5FPGA_FREQ_EST_LSW", kNone},
    {kFreqEstHigh, "Q5FPGA_FREQ_EST_MSW", kNone},
    {60, "Q5FPGA_PSOC_CTRL_STAT", kAll},
    {62, "Q5FPGA_PSOC_COMMAND", kAll},
    {kHardLimit, "Q5FPGA_WFORM_HARD_LIMIT", kAll, 0x7FFF},
    {66, "Q5FPGA_PSOC_NUMBITS", kAll},
    {68, "Q5FPGA_ALLOK_STATUS_CONTROL", kAll},
    {70, "Q5FPGA_ALLNOTOK_EVENT", kAll},
    {72, "Q5FPGA_ALLOK_WATCHDOG_TICKLE", kAll},
    {kLineSync, "Q5FPGA_LNSYNC_CTL_STAT_REG", 0x3FFF},
    {kEstimateHigh, "Q5FPGA_LNSYNC_EST_HI_REG", kNone},
    {kEstimateLow, "Q5FPGA_LNSYNC_EST_LO_REG", kNone},
    {80, "Q5FPGA_LNSYNC_SIM_FREQ_REG", kAll},
    {82, "Q5FPGA_MISC_STATCTL2_REG", 0xE7FF, 0x1800},  // bits 11, 12: both fans turn
    {84, "Q5FPGA_MISC_STATCTL3_REG", kAll},
    {86, "Q5FPGA_MCLK_CNT_STARTVAL_REG", kAll},
    {88, "Q5FPGA_WCLK_CNT_STARTVAL_REG", kAll},
    {kOffsetThreshold, "Q5FPGA_LNSYNC_TRKR_OFF_THRESH_REG", kAll},
    {kCurrentOffset, "Q5FPGA_LNSYNC_CUR_OFF_REG", kNone},
    {kOffsetDelta, "Q5FPGA_LNSYNC_CUR_OFF_DELTA_REG", kNone},
    {kPulseLimit, "Q5FPGA_LNSYNC_CORR_PULSE_LIM_REG", kAll},
    {kPulseStatus, "Q5FPGA_LNSYNC_CORR_PULSE_STAT_REG", kNone},
};

/// What these show is measured all the time: nobody can set it.
inline constexpr std::uint16_t kMeasured[] = {kAmpValue,     kFreqEstLow,  kFreqEstHigh,
                                              kEstimateHigh, kEstimateLow, kCurrentOffset,
                                              kOffsetDelta,  kPulseStatus};

}  // namespace simulator::fpga

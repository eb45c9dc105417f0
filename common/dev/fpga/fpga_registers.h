// Register map of the FPGA: byte offsets of 16-bit registers, and the bits that the daemon drives.
// The same map on every module.
#pragma once

namespace Dev {

/// Module identity, as GetHostModuleID returns it.
enum MID : int { MAIN_MOD = 0, MEAS_MOD = 1, SOURCE_MOD = 2, PFC_MOD = 3, ETHB_MOD = 4 };

// Name, byte offset and the name in the log of the registers whose writes are traced ("?" for the
// others). The list also has registers that the daemon never accesses.
// clang-format off
#define Q5_FPGA_REGISTERS(X) \
  X(Q5FPGA_DEVICE_ID, 0, "?") \
  X(Q5FPGA_VERSION, 2, "?") \
  X(Q5FPGA_SCRATCH, 4, "?") \
  X(Q5FPGA_CLK_SEL, 6, "?") \
  X(REG_DDS_FREQ_LSHW, 8, "?") \
  X(REG_DDS_FREQ_MSHW, 10, "?") \
  X(Q5FPGA_A2D_CTRL, 14, "Q5FPGA_A2D_CTRL") \
  X(Q5FPGA_A2D_SAMPLE_WR, 16, "?") \
  X(Q5FPGA_A2D_STATUS, 18, "?") \
  X(Q5FPGA_WFORM_CTRL, 20, "NRMP LSYN Q5FPGA_WFORM_CTRL") \
  X(Q5FPGA_MISC_CTRL, 22, "?") \
  X(REG_WAVEFORM_CYC_LEN, 24, "?")         /* waveform samples per cycle minus 1 */ \
  X(REG_WAVEFORM_SAMPLE_CT, 26, "?") \
  X(REG_WAVEFORM_CYC_CT, 28, "?") \
  X(Q5FPGA_AMP_TARGET, 30, "NRMP Q5FPGA_AMP_TARGET") \
  X(Q5FPGA_AMP_STEP_UP_VALUE, 32, "NRMP Q5FPGA_AMP_STEP_UP_VALUE") \
  X(Q5FPGA_WFORM_UPD_RATE, 34, "?")        /* a step every (value + 1) waveform cycles */ \
  X(Q5FPGA_WFORM_AMP_VALUE, 36, "?")       /* the present multiplier */ \
  X(Q5FPGA_WFORM_AMP_MANUAL, 38, "NRMP Q5FPGA_WFORM_AMP_MANUAL") \
  X(Q5FPGA_WFORM_AMP_TIMER, 40, "?")       /* interval of a timer ramp, in units of 5 ms */ \
  X(Q5FPGA_SYSTEM_ID_WORD1, 42, "?") \
  X(Q5FPGA_SYSTEM_ID_WORD2, 44, "?") \
  X(Q5FPGA_SYSTEM_ID_WORD3, 46, "?") \
  X(Q5FPGA_WFORM_RAMP_CTL, 48, "NRMP Q5FPGA_WFORM_RAMP_CTL") \
  X(Q5FPGA_WFORM_STEP_DOWN, 50, "?") \
  X(Q5FPGA_FREQ_EST_LSW, 52, "?")          /* measured sample clock, Hz */ \
  X(Q5FPGA_FREQ_EST_MSW, 54, "?") \
  X(Q5FPGA_PSOC_CTRL_STAT, 60, "?") \
  X(Q5FPGA_PSOC_COMMAND, 62, "?") \
  X(Q5FPGA_WFORM_HARD_LIMIT, 64, "?")      /* the amplitude never goes above it */ \
  X(Q5FPGA_PSOC_NUMBITS, 66, "?") \
  X(Q5FPGA_ALLOK_STATUS_CONTROL, 68, "?") \
  X(Q5FPGA_ALLNOTOK_EVENT, 70, "?") \
  X(Q5FPGA_ALLOK_WATCHDOG_TICKLE, 72, "?") \
  X(Q5FPGA_LNSYNC_CTL_STAT_REG, 74, "?") \
  X(Q5FPGA_LNSYNC_EST_HI_REG, 76, "?") \
  X(Q5FPGA_LNSYNC_EST_LO_REG, 78, "?") \
  X(Q5FPGA_LNSYNC_SIM_FREQ_REG, 80, "?") \
  X(Q5FPGA_MISC_STATCTL2_REG, 82, "?")     /* bits 12:11: the module's fans turn */ \
  X(Q5FPGA_MISC_STATCTL3_REG, 84, "?") \
  X(Q5FPGA_MCLK_CNT_STARTVAL_REG, 86, "?") \
  X(Q5FPGA_WCLK_CNT_STARTVAL_REG, 88, "?") \
  X(Q5FPGA_LNSYNC_TRKR_OFF_THRESH_REG, 90, "?") \
  X(Q5FPGA_LNSYNC_CUR_OFF_REG, 92, "?") \
  X(Q5FPGA_LNSYNC_CUR_OFF_DELTA_REG, 94, "?") \
  X(Q5FPGA_LNSYNC_CORR_PULSE_LIM_REG, 96, "?") \
  X(Q5FPGA_LNSYNC_CORR_PULSE_STAT_REG, 98, "?")
// clang-format on

enum REG : int {
#define Q5_REGISTER_OFFSET(name, offset, trace) name = (offset),
  Q5_FPGA_REGISTERS(Q5_REGISTER_OFFSET)
#undef Q5_REGISTER_OFFSET
      Q5FPGA_AMP_HIGH_LIMIT = Q5FPGA_AMP_TARGET,
};

struct RegisterRow {
  int offset;
  const char* name;
  const char* trace;
};
inline constexpr RegisterRow kRegisterMap[] = {
#define Q5_REGISTER_ROW(name, offset, trace) {offset, #name, trace},
    Q5_FPGA_REGISTERS(Q5_REGISTER_ROW)
#undef Q5_REGISTER_ROW
};

inline constexpr unsigned kRegisterMask = 0xFFFF;

/// Bits of Q5FPGA_DEVICE_ID and Q5FPGA_VERSION.
inline constexpr unsigned kIdentityMask = 0x0FFF;
inline constexpr unsigned kMainIdentity = 0x980;
inline constexpr unsigned kSignalIdentity = 0x984;  ///< measurement or source module
inline constexpr unsigned kRevisionShift = 12;
inline constexpr unsigned kVersionMask = 0x0FFF;

/// Bits of Q5FPGA_CLK_SEL and REG_DDS_FREQ_LSHW, which the main module uses for other purposes too.
inline constexpr unsigned kMainAllokOut = 1u << 4;
inline constexpr unsigned kMainAllokIn = 1u << 1;
inline constexpr unsigned kOledRun = 1u << 14;  ///< low resets the display

/// Bits of Q5FPGA_A2D_CTRL: a channel each.
inline constexpr unsigned kInvertBoth = 3u;

/// Bits of Q5FPGA_MISC_CTRL.
inline constexpr unsigned kAllokOut = 1u << 1;
inline constexpr unsigned kMiscEstimatorHold = 1u << 5;  ///< to be clear before an estimate
inline constexpr unsigned kAllokIn = 1u << 14;
inline constexpr unsigned kMeasModuleBit = 1u << 15;

/// Bits of Q5FPGA_WFORM_CTRL.
inline constexpr unsigned kWformPrimary = 1u << 1;
inline constexpr unsigned kWformEnable = 1u << 4;
inline constexpr unsigned kWformHighSpeed = 1u << 6;
inline constexpr unsigned kWformPolarity = 1u << 8;
inline constexpr unsigned kWformBufferWrite = 1u << 9;
inline constexpr unsigned kWformDac = 1u << 10;
inline constexpr unsigned kWformRampOn = 1u << 12;
inline constexpr unsigned Q5FPGA_WFCTL_SYNC_ENABLE = 1u << 13;
inline constexpr unsigned kWformPolarityStatus = 1u << 15;

/// Bits of Q5FPGA_WFORM_RAMP_CTL.
inline constexpr unsigned kRampModeMask = 3u;
inline constexpr unsigned kRampUp = 1u << 2;
inline constexpr unsigned kRampEnable = 1u << 3;
inline constexpr unsigned kRampAtZero = 1u << 13;
inline constexpr unsigned kRampAtTarget = 1u << 14;

/// Bits of Q5FPGA_LNSYNC_CTL_STAT_REG.
inline constexpr unsigned kEstimatorCycles = 0x1F;
inline constexpr unsigned kEstimatorEnable = 1u << 5;
inline constexpr unsigned kTrackerUnused = 0x03C0;  ///< clear while the tracker runs
inline constexpr unsigned kTrackerRateShift = 10;
inline constexpr unsigned kTrackerRateMask = 7u << kTrackerRateShift;
inline constexpr unsigned kTrackerEnable = 1u << 13;
inline constexpr unsigned kTrackerLocked = 1u << 14;
inline constexpr unsigned kEstimateComplete = 1u << 15;

/// Bit of Q5FPGA_MISC_STATCTL2_REG.
inline constexpr unsigned kLineSyncInit = 1u << 5;

}  // namespace Dev

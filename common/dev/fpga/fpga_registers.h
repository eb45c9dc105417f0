// Register map of the FPGA: byte offsets of 16-bit registers. The same map on every module.
#pragma once

namespace Dev {

/// Module identity, as GetHostModuleID gives it.
enum MID : int { MAIN_MOD = 0, MEAS_MOD = 1, SOURCE_MOD = 2, PFC_MOD = 3, ETHB_MOD = 4 };

enum REG : int {
  Q5FPGA_DEVICE_ID = 0,   ///< bits 11:0 identity, bits 15:12 board revision
  Q5FPGA_VERSION = 2,     ///< bits 11:0 FPGA version
  Q5FPGA_A2D_CTRL = 14,   ///< bit 11: pulsed to restart the converters
  Q5FPGA_MISC_CTRL = 22,  ///< bit 15 set on the measurement module, clear on the source module
  Q5FPGA_MISC_STATCTL2_REG = 82,  ///< bits 12:11: the module's fans turn
};

inline constexpr unsigned kIdentityMask = 0x0FFF;
inline constexpr unsigned kMainIdentity = 0x980;
inline constexpr unsigned kSignalIdentity = 0x984;  ///< measurement or source module
inline constexpr unsigned kRevisionShift = 12;
inline constexpr unsigned kMeasModuleBit = 1u << 15;

}  // namespace Dev

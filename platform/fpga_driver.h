// The records and requests of the FPGA's character driver, "/dev/q5fpga0".
//
// The driver's own interface: every request carries one 20-byte record. The address word is 32 bits
// wide, as on the instrument's processor.
//
// A read(2) takes one such record (FPGA_REG, offset 18, `val` = 4 KiB pages in a sample block),
// waits for the end of a block, and gives it back with `val` = the running counter of pages that
// were written since sampling began. It ends with the counter as it is when sampling stops. A
// write(2) of one with the offset Q5FPGA_CMD_SAMPLEBLOCK_NUM announces `val` = bytes in a block.
#pragma once

#include <cstdint>

namespace Dev {

struct fpga_cmd_t {
  std::int32_t devtype;  ///< a CS value
  std::int32_t offset;   ///< register offset in bytes
  std::uint32_t val;     ///< value in or out
  std::uint32_t status;
  std::uint32_t ptr;  ///< address of a text, for Q5FPGA_CMD_SET_IP
};
static_assert(sizeof(fpga_cmd_t) == 20);
using FpgaCmd = fpga_cmd_t;

enum CS : std::int32_t {
  FPGA_INPUT_BUFFER = 1,
  FPGA_OUTPUT_BUFFER = 2,
  FPGA_FREQ_GENERATOR = 3,
  FPGA_REG = 4,
  FPGA_OLED_REG = 5,
};

enum CMD : unsigned long {
  Q5FPGA_CMD_RD = 1158081,
  Q5FPGA_CMD_WR = 1158082,
  Q5FPGA_CMD_SET_IP = 1158084,
  Q5FPGA_CMD_START_SAMPLE_CONTINUOUS = 1158086,
  Q5FPGA_CMD_STOP_ACQUISITION = 1158090,
  Q5FPGA_CMD_SAMPLEBLOCK_NUM = 1158091,  ///< `offset` of the write(2) that announces the block size
  Q5FPGA_CMD_START_SRC_BUFFER_DMA = 1158093,
};

/// Length of the sample ring's mapping, and of the waveform memory's in normal and high-speed mode.
inline constexpr std::size_t kSampleRingBytes = 0x200000;
inline constexpr std::size_t kWaveformBytes = 16384;
inline constexpr std::size_t kFastWaveformBytes = 0x80000;
inline constexpr std::size_t kFastWaveformBytesLarge = 0x90000;

inline constexpr char kFpgaDevicePath[] = "/dev/q5fpga0";
inline constexpr char kProcessPidPath[] = "/sys/fpgaattr/q5processpid";
inline constexpr char kDriverVersionPath[] = "/sys/module/fpgadrv/parameters/version";

}  // namespace Dev

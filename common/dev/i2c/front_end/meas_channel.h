// The front end of one measurement channel: its CPLD behind the SPI bridge, and the offset DAC.
//
// Each operation is one request to the I2C worker and waits for it; results are the transfer's
// count, or a negative status (i2c_dev.h). The bridge's frame: the first byte selects the register,
// what follows is shifted out, and what was shifted in is read back.
// Threads: any.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/dev/i2c/front_end/meas_channel_regs.h"
#include "platform/clock.h"

namespace Dev {

enum DC_OFFSET_DAC_CHAN_NUM : int {
  DC_OFFSET_DAC_CHAN_0 = 0,
  DC_OFFSET_DAC_CHAN_1,
  DC_OFFSET_DAC_CHAN_2,
  DC_OFFSET_DAC_CHAN_3,
  DC_OFFSET_DAC_CHAN_COUNT,
};
inline constexpr std::uint16_t kDacCentre = 0x8000;

inline constexpr int kStatusBytes = 24;  ///< of the long status
inline constexpr int kStatusReadFailed = -2;

class MeasChannel {
 public:
  /// `module` is the MODULE_ID whose devices these are, `channel` 0 or 1. `i2c` outlives it.
  MeasChannel(I2cMgr& i2c, int module, int channel);

  int Number() const { return channel_; }

  // --- CPLD ---

  int InitBridge();
  int ReadVersion(MeasChCpldIdRev& version);
  /// The long status. kStatusReadFailed when nothing was read.
  int ReadStatus(std::array<std::uint8_t, kStatusBytes>& status);
  int ReadShortStatus(std::uint8_t& status);
  /// `status` is the CPLD's answer to the write.
  int WriteConfig(const MeasChCfgReg& config, std::uint8_t& status);
  int WriteRange(std::uint8_t code, std::uint8_t& status);
  /// DC test mode of a 1093 board; 7 to 10 measure, anything else is normal work.
  int Meas1093SetDCTestModeRegister(std::uint8_t mode);
  /// The status byte, while a DC test mode should be in force; kStatusReadFailed as ReadStatus.
  int Meas1093ReadMeasStatus();

  // --- Offset DAC; channels 0 to 3, else -1 ---

  int Meas1093SetDAC(int dac, std::uint16_t value);
  int Meas1093GetDAC(int dac, std::uint16_t& value);
  /// All four at once.
  int Meas1093SetAllDACs(std::uint16_t value);

  // --- For the channel's own operations: they leave the multiplexers off ---

  /// As ReadStatus, decoded; the worker switches the path off afterwards.
  int GetMeasChStaReg(MeasChStaReg& status);
  /// Writes the range register and stamps the start of the CPLD's work.
  int set_range_register(std::uint8_t code, std::uint8_t& status);
  /// A value that the DAC has already is not written. 3, or a negative status.
  int set_dc_offset_reg(std::uint16_t value, DC_OFFSET_DAC_CHAN_NUM dacchan);
  /// What the DAC holds, 0 to 0xFFFF, or a negative status.
  int get_dc_offset_reg_HW(DC_OFFSET_DAC_CHAN_NUM dacchan);
  /// All four to the centre. 3, or a negative status.
  int center_dc_offset_reg_bdcst();

  /// The moment of the last command that keeps the CPLD busy.
  void set_cpld_operation_start_time();
  platform::Nanoseconds GetCpldOperationStartTime() const { return start_time_; }

 private:
  /// Writes the first `out` bytes of `frame`, reads `in` back to its front. A count that is short
  /// of `in` is a failure.
  int Request(DEV_TYPE chip, std::span<std::uint8_t> frame, int out, int in);
  template <class Chip>
  Chip* Device(DEV_TYPE chip) const;
  const char* Name() const { return channel_ == 0 ? "AcqCh1" : "AcqCh2"; }
  int Assembly() const { return channel_ == 0 ? MEAS_CH1 : MEAS_CH2; }

  I2cMgr& i2c_;
  const int module_;
  const int channel_;
  /// What the DAC channels hold, as far as known; kUnknown before the first write or read.
  std::array<std::atomic<int>, DC_OFFSET_DAC_CHAN_COUNT> shadow_;
  std::atomic<platform::Nanoseconds> start_time_{platform::Nanoseconds(0)};
};

}  // namespace Dev

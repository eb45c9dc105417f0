// Reset, enables and clocks.
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/dev/fpga/fpga_dev_base.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr unsigned kA2dReset = 0x1040;
constexpr unsigned kA2dResetPulse = 0x1440;
constexpr unsigned kA2dRun = 0xB180;
constexpr unsigned kHalfBits = 16;

}  // namespace

// The waveform is switched off even when a step before fails.
int FpgaDevBase::FpgaReset() {
  int result = 0;
  for (const unsigned value : {kA2dReset, kA2dResetPulse, kA2dReset}) {
    if (WriteReg(Q5FPGA_A2D_CTRL, value, __LINE__) < 0) result = -1;
  }
  unsigned wfctrl = 0;
  if (ReadReg(Q5FPGA_WFORM_CTRL, wfctrl) < 0) {
    result = -1;
  } else {
    Q5_LOG_INFO(fpgaL, " wfctrl = 0x%x \n", wfctrl);
  }
  return WriteReg(Q5FPGA_WFORM_CTRL, 0, __LINE__) < 0 ? -1 : result;
}

int FpgaDevBase::RunConverters() {
  return ChangeReg(Q5FPGA_A2D_CTRL, kRegisterMask & ~kInvertBoth, kA2dRun, __LINE__);
}

int FpgaDevBase::FPGADisableWaveform() {
  unsigned wfctrl = 0;
  const int result = ReadReg(Q5FPGA_WFORM_CTRL, wfctrl);
  if (result == 0) {
    Q5_LOG_INFO_HERE(fpgaL, "%s.%d wfctrl = 0x%x \n", wfctrl);
  }
  return WriteReg(Q5FPGA_WFORM_CTRL, 0, __LINE__) < 0 ? -1 : result;
}

int FpgaDevBase::FPGADisablePrimary() {
  return ChangeReg(Q5FPGA_WFORM_CTRL, kWformPrimary, 0, __LINE__);
}

int FpgaDevBase::SwitchDac(unsigned clear, unsigned set, int event) {
  unsigned value = 0;
  if (ChangeReg(Q5FPGA_WFORM_CTRL, clear, set, __LINE__) < 0) return -1;
  if (ReadReg(Q5FPGA_WFORM_CTRL, value) < 0) return -1;
  Capture(static_cast<Logger::eventtypes_t>(event), value);
  return 0;
}

int FpgaDevBase::EnableDACForLinearAmplifier() {
  return SwitchDac(0, kWformDac, Logger::ENABLE_DAC_ON_FPGA);
}

int FpgaDevBase::DisableDACForLinearAmplifier() {
  return SwitchDac(kWformDac, 0, Logger::DISABLE_DAC_ON_FPGA);
}

int FpgaDevBase::ConfigureClocks(unsigned cycle_length, unsigned clock_select) {
  const struct {
    REG offset;
    unsigned value;
  } writes[] = {{REG_WAVEFORM_CYC_LEN, cycle_length}, {Q5FPGA_CLK_SEL, clock_select}};
  for (const auto& write : writes) {
    if (WriteReg(write.offset, write.value, __LINE__) == 0) continue;
    Q5_LOG_ERROR(fpgaL, "%s: ioctl write error - reg:0x%02X  value:0x%04X, %s", __func__,
                 static_cast<unsigned>(write.offset), write.value, std::strerror(errno));
    return -1;
  }
  return IsClockSelected(clock_select) ? 0 : -1;
}

// A driver that accepts a write without effect would leave the samples at another rate.
bool FpgaDevBase::IsClockSelected(unsigned clock_select) {
  constexpr unsigned kCompared = kRegisterMask & ~kMainAllokOut;  // the ALLOK line is set elsewhere
  unsigned selected = 0;
  if (ReadReg(Q5FPGA_CLK_SEL, selected) < 0) return false;
  if (((selected ^ clock_select) & kCompared) == 0) return true;
  Q5_LOG_ERROR(fpgaL, "clock select 0x%04X was not taken: 0x%04X\n", clock_select, selected);
  return false;
}

int FpgaDevBase::ReadSclkFreq() {
  unsigned low = 0;
  unsigned high = 0;
  if (ReadReg(Q5FPGA_FREQ_EST_LSW, low) < 0 || ReadReg(Q5FPGA_FREQ_EST_MSW, high) < 0) return -1;
  const unsigned hertz = high << kHalfBits | low;
  return std::in_range<int>(hertz) ? static_cast<int>(hertz) : -1;
}

}  // namespace Dev

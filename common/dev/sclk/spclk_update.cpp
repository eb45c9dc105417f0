// How the settings reach the hardware, and in which order.
#include <cerrno>
#include <chrono>
#include <utility>

#include "common/dev/fpga/waveform_source.h"
#include "common/dev/sclk/clock_plan.h"
#include "common/dev/sclk/clock_registers.h"
#include "common/dev/sclk/spclk_dev.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

namespace {

constexpr int kLockTries = 500;
constexpr auto kLockTime = std::chrono::seconds(3);  // the host waits

int Fail(int error, const char* text) {
  Q5_LOG_ERROR(spclkL, "%s", text);
  return error;
}

}  // namespace

int SpclkDev::WriteSteps(const RegTable& table) {
  if (Si5338WriteMs0FidpRegs(table) < 0) {
    return Fail(-EIO, "Failed to write MS0_FIDP register values to Si5338 RAM\n");
  }
  Q5_LOG_INFO(spclkL, "Success! Wrote MS0_FIDP register values to Si5338 RAM\n");
  return 0;
}

int SpclkDev::ProgramChip(const RegTable& table) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto until = clock.Monotonic() + kLockTime;
  for (int i = 0; i < kLockTries && clock.Monotonic() < until; ++i) {
    if (Si5338WriteRegStruct(table) < 0) {
      if (_si5338->IsHeldUp()) break;
      continue;
    }
    Q5_LOG_INFO_HERE(spclkL, "%s.%d Achieved PLL lock on iteration %d\n", i);
    return 0;
  }
  return Fail(-EIO, "Failed to write register values to Si5338 RAM\n");
}

int SpclkDev::FillWaveform() {
  if (_params.wf_option_found == 0) return 0;
  Q5_LOG_INFO(spclkL, "Programming FPGA Waveform Generator logic\n");
  const int result =
      wf_fill_source_buffer(static_cast<int>(_params.wf_samples_per_cycle), _params.wf_signal_type);
  if (result < 0) {
    Q5_LOG_ERROR(spclkL, "Error writing Waveform Source Buffer - %d\n", result);
  }
  return result;
}

void SpclkDev::List(const RegTable& table) const {
  for (const Reg_Data& row : table) {
    Q5_LOG_INFO(spclkL, "%d,%02Xh\n", static_cast<int>(row.Reg_Addr), row.Reg_Val);
  }
}

int SpclkDev::Update(int) { return sp_clk_main(this); }

int sp_clk_main(SpclkDev* spclk) {
  constexpr char kSelectFailed[] = "Failed to write FPGA Clock Select Register\n";
  Param_Values& params = spclk->_params;
  // of one update alone: a failed one is followed by a whole one
  const bool only_steps = std::exchange(SpclkDev::freq_inc_dec_change_only, false);
  Q5_LOG_INFO_HERE(spclkL, "%s.%d spclk ADC clocks per sample: %u\n", params.adc_clocks_per_sample);
  if (const int error = find_digital_frequencies(params, 0); error < 0) return error;
  const std::unique_ptr<RegTable> table = generate_reg_struct(params);
  if (table == nullptr) return Fail(-ENOMEM, "Error creating Si5338 register value structure\n");

  // The converters run at their slowest while the chip's output is off or on its way.
  const int divider = params.mclk_divider_select;
  if (!only_steps) params.mclk_divider_select = MCLK_DIV_SEL_1024;
  if (spclk->FpgaConfigureClocks(params) < 0) return Fail(-EIO, kSelectFailed);
  if (only_steps) return spclk->WriteSteps(*table);
  if (const int error = spclk->ProgramChip(*table); error < 0) return error;
  params.mclk_divider_select = divider;
  if (spclk->FpgaConfigureClocks(params) < 0) return Fail(-EIO, kSelectFailed);

  if (const int error = spclk->FillWaveform(); error < 0) return error;
  Q5_LOG_INFO(spclkL, "spclk->Update:Success!\n");
  if (spclk->_list_flag) spclk->List(*table);
  return 0;
}

}  // namespace Dev

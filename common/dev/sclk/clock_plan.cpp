#include "common/dev/sclk/clock_plan.h"

#include <bit>
#include <cerrno>

#include "common/dev/sclk/exact.h"
#include "common/log/logger_mgr.h"

using Logger::kError;
using Logger::logger_mgr;
using Logger::spclkL;

namespace {

constexpr float kDefaultFrequency = 60.0F;  // Hz
constexpr unsigned kMostWaveformSamples = 4096;
constexpr unsigned kLeastWaveformSamples = 256;
constexpr float kWaveformRate = 1.25e6F;  // samples a second
constexpr int kUpdatesPerSample = 16;

constexpr int kFirstExponent = 2;
constexpr int kLastExponent = 30;
constexpr std::uint64_t kLeastClk0 = 2;  // MHz
constexpr std::uint64_t kMostClk0 = 159;
constexpr std::uint64_t kLeastMclkDivider = 2;
constexpr std::uint64_t kMostMclkDivider = 1024;

int DividerSelect(std::uint64_t divider) { return std::countr_zero(divider) - 1; }

int Clocks(const Param_Values& params, int output, m3x64_num& adc_mclk, m3x64_num& wf_update) {
  const m3x64_num& test = params.op.at(static_cast<std::size_t>(output)).test_freq;
  const std::uint64_t per_cycle =
      std::uint64_t{params.adc_clocks_per_sample} * params.adc_samples_per_cycle;
  if (m3x64_times_uint64(test, per_cycle, adc_mclk) < 0) return -1;
  return m3x64_times_uint64(test, std::uint64_t{params.wf_samples_per_cycle} * kUpdatesPerSample,
                            wf_update);
}

}  // namespace

void get_default_params(Param_Values& params) {
  params = {};
  params.wf_samples_per_cycle = calculate_wf_samples_per_cyc(kDefaultFrequency);
  params.op[0].in_use = 1;
  params.op[0].fidppm = 5;
  params.op[1].fidct = 2;
  params.op[1].fiddis = 1;
  params.op[1].fidppm = 1;
  for (std::size_t unused : {2, 3}) {
    Per_Output& output = params.op.at(unused);
    output.drvx_pwrdn = 3;
    output.drvx_oeb = 1;
    output.clkx_disst = 0;
    output.rxdiv_in = 7;
    output.fidct = 0;
    output.fiddis = 1;
  }
}

int ClockSelectWord(const Param_Values& params) {
  return params.wclk_divider_select | params.mclk_divider_select | params.sclk_src_sel |
         params.mclk_src_sel | params.dds_clkin | params.mclk_out_to_other | params.clk_in_src;
}

unsigned calculate_wf_samples_per_cyc(float freq) {
  const float most = kWaveformRate / freq;
  unsigned samples = kMostWaveformSamples;
  while (samples >= kLeastWaveformSamples && !(static_cast<float>(samples) < most)) samples /= 2;
  return samples;
}

int find_digital_frequencies(Param_Values& params, int output) {
  m3x64_num adc_mclk;
  m3x64_num wf_update;
  if (Clocks(params, output, adc_mclk, wf_update) < 0) return -1;
  for (int exponent = kFirstExponent; exponent <= kLastExponent; ++exponent) {
    m3x64_num clk0;
    if (m3x64_times_uint64(wf_update, std::uint64_t{1} << exponent, clk0) < 0) break;
    if (clk0.a < kLeastClk0 || clk0.a > kMostClk0) continue;
    m3x64_num divider;
    if (m3x64_quotient(clk0, adc_mclk, divider) < 0 ||
        m3x64_check_power_of_two(divider, "mclk_divider", kLeastMclkDivider, kMostMclkDivider,
                                 false) < 0) {
      continue;
    }
    params.wclk_divider_select = (exponent - 1) << kWclkDividerShift;
    params.mclk_divider_select = DividerSelect(divider.a) << kMclkDividerShift;
    params.op.at(static_cast<std::size_t>(output)).clkx_freq = clk0;
    return 0;
  }
  logger_mgr::print(spclkL, kError, 0,
                    "Error finding WCLK - SPCLK Waveform Clock divider select\n");
  return -1;
}

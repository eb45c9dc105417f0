#include "common/dev/sclk/clock_plan.h"

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "common/dev/sclk/exact.h"
#include "common/log/log_line.h"

namespace {

constexpr float kMostHertz = 1e9F;
constexpr std::uint64_t kFractions = 1000000000;
constexpr std::uint64_t kHzPerMhz = 1000000;

constexpr float kDefaultFrequency = 60.0F;  // Hz
constexpr unsigned kMostWaveformSamples = 4096;
constexpr unsigned kLeastWaveformSamples = 256;
constexpr float kWaveformRate = 1.25e6F;  // samples a second

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
  for (const int unused : {2, 3}) {
    Per_Output& output = params.op.at(static_cast<std::size_t>(unused));
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

int float_Hz_to_m3x64_MHz(float hz, m3x64_num& out) {
  if (!std::isfinite(hz) || hz < 0 || hz > kMostHertz) return -EINVAL;
  char text[32];
  std::snprintf(text, sizeof text, "%f", static_cast<double>(hz));
  const double decimals = std::strtod(text, nullptr);
  Q5_LOG_DEBUG(spclkL, "Read float parameter as string '%s': freq: %.9lf Hz\n", text, decimals);
  const double whole = std::floor(decimals);
  // rounded, not cut: the decimals that were printed come back exactly
  const auto fraction = static_cast<std::uint64_t>(std::llround((decimals - whole) * kFractions));
  m3x64_num hertz;
  m3x64_num result;
  int error = m3x64_create(static_cast<std::uint64_t>(whole), fraction, kFractions, hertz);
  if (error == 0) error = m3x64_div_by_uint64(hertz, kHzPerMhz, result);
  if (error < 0) return error;
  Q5_LOG_DEBUG(spclkL, "test_freq.a: %lld  test_freq.b: %lld  test_freq.c: %lld (%.11lf MHz)\n",
               static_cast<long long>(result.a), static_cast<long long>(result.b),
               static_cast<long long>(result.c), m3x64_to_double(result));
  out = result;
  return 0;
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
  Q5_LOG_ERROR(spclkL, "Error finding WCLK - SPCLK Waveform Clock divider select\n");
  return -1;
}

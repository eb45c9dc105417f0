#include "host/clock/plan.h"

#include <fmt/format.h>

#include <libconfig.h++>

#include "common/dev/sclk/clock_plan.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "common/signalh/signal_shared.h"
#include "mos/daemon_config.h"

namespace host {
namespace {

constexpr unsigned kVlfWaveformSamples = 0x40000;  // that the daemon gives a very slow cycle

/// What the chip makes of the dividers, over the CLK0 that was asked for.
std::optional<Fraction> Ratio(const ClockPlan& plan) {
  const Intermediate_Str::Output& output = plan.dividers.outp[0];
  auto clk0 = Product(Fraction::Of(plan.dividers.f_PFD), Fraction::Of(plan.dividers.MSn_div_ratio));
  if (clk0) clk0 = Quotient(*clk0, Fraction::Of(output.ms_div_ratio));
  if (clk0) clk0 = Quotient(*clk0, {static_cast<unsigned>(output.R), 1});
  return clk0 ? Quotient(*clk0, Fraction::Of(plan.params.op[0].clkx_freq)) : std::nullopt;
}

}  // namespace

DaemonChoice ChoiceFor(float hertz) {
  libconfig::Config shipped;  // without keys every one has the value that ships
  Msg::HMPData& data = Msg::HMPData::GetHMPData(shipped, Msg::MEAS_MODULE);
  Mos::SetConfigParameters(shipped, data);
  signalh::Share(
      {.config = data, .test = data, .measurement = data, .output = data, .errors = data});
  data.testype = Msg::TEST_HVVFPF;
  data.modesw1 = Msg::MODESW1_FILTER;
  data.frequency = hertz;
  const bool is_slow = data.IsVLFTest();
  const int pages = is_slow ? data.GetVLFBlockReadyInterrupts() : data.GetBlockReadyInterrupts();
  return {static_cast<unsigned>(signalh::CalculateSamplesPerCyc(hertz, pages)), is_slow};
}

bool MakePlan(float hertz, unsigned samples, bool is_slow, ClockPlan& plan, std::string& problem) {
  Param_Values& params = plan.params;
  get_default_params(params);
  params.adc_samples_per_cycle = samples;
  params.wf_samples_per_cycle = is_slow ? kVlfWaveformSamples : calculate_wf_samples_per_cyc(hertz);
  if (float_Hz_to_m3x64_MHz(hertz, params.op[0].test_freq) < 0) {
    problem = fmt::format("{} Hz cannot be planned with", hertz);
    return false;
  }
  if (find_digital_frequencies(params, 0) < 0) {
    problem = fmt::format(
        "no CLK0 is a power of two of both clocks with {} samples and {} waveform samples a cycle",
        samples, params.wf_samples_per_cycle);
    return false;
  }
  if (get_multisynth_values(params, plan.dividers) == 0) {
    plan.registers = generate_reg_struct(params);
  }
  if (!plan.registers) {
    problem = "the clock chip has no dividers for this CLK0";
    return false;
  }
  plan.mclk_divider = 2U << (params.mclk_divider_select >> kMclkDividerShift);
  plan.wclk_divider = 2U << (params.wclk_divider_select >> kWclkDividerShift);
  plan.ratio = Ratio(plan);
  if (plan.ratio) plan.achieved = Product(*plan.ratio, Fraction::Of(params.op[0].test_freq));
  if (plan.achieved) plan.achieved = Product(*plan.achieved, {1000000, 1});
  return true;
}

}  // namespace host

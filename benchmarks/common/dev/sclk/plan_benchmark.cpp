// A whole clock plan, from the frequency to the registers, beside its arithmetic in rationals of
// any size. 60 Hz comes out exactly; 50.1 Hz (as a float) has fractions that must be shortened.
#include <benchmark/benchmark.h>

#include "common/dev/sclk/clock_plan.h"
#include "common/dev/sclk/clock_registers.h"
#include "tests/common/dev/sclk/rational.h"

namespace {

using sclk_test::Integer;
using sclk_test::Rational;

Param_Values Params(float hertz) {
  Param_Values params;
  get_default_params(params);
  float_Hz_to_m3x64_MHz(hertz, params.op[0].test_freq);
  params.wf_samples_per_cycle = calculate_wf_samples_per_cyc(hertz);
  return params;
}

void BM_Plan(benchmark::State& state, float hertz) {
  const Param_Values start = Params(hertz);
  for ([[maybe_unused]] auto _ : state) {
    Param_Values params = start;
    if (find_digital_frequencies(params, 0) < 0) state.SkipWithError("no frequencies");
    const auto table = generate_reg_struct(params);
    if (table == nullptr) state.SkipWithError("no registers");
    benchmark::DoNotOptimize(table);
  }
}
BENCHMARK_CAPTURE(BM_Plan, exact, 60.0F);
BENCHMARK_CAPTURE(BM_Plan, shortened, 50.1F);

/// The plan's numbers: CLK0, VCO, both dividers and the loop's two.
void BM_Rational(benchmark::State& state, float hertz) {
  const Param_Values params = Params(hertz);
  for ([[maybe_unused]] auto _ : state) {
    const Rational test = sclk_test::ToRational(params.op[0].test_freq);
    const Rational mclk = test * params.adc_clocks_per_sample * params.adc_samples_per_cycle;
    Rational clk0 = test * params.wf_samples_per_cycle * 16 * 4;
    while (clk0 < 2 || denominator(Rational(clk0 / mclk)) != 1) clk0 *= 2;
    Rational vco;
    for (int divider = 8; divider <= 568; divider += 2) {
      const Rational candidate = clk0 * divider;
      if (candidate < 2200 || candidate > 2840) continue;
      if (vco == 0 || abs(candidate - 2500) <= abs(vco - 2500)) vco = candidate;
    }
    const Rational feedback = vco / 25;
    const Integer p1 = sclk_test::Floor(feedback * 128) - 512;
    const Integer kphi = sclk_test::Round(sclk_test::Ratio(925, 533 * 3) * vco / 25 *
                                          sclk_test::Power(2500 / vco, 3));
    const Integer mscal =
        sclk_test::Round(sclk_test::Ratio(2067, 100) - sclk_test::Ratio(667, 100000) * vco);
    benchmark::DoNotOptimize(p1 + kphi + mscal);
  }
}
BENCHMARK_CAPTURE(BM_Rational, exact, 60.0F);
BENCHMARK_CAPTURE(BM_Rational, shortened, 50.1F);

}  // namespace

// Whole plans: what the chip and the FPGA would make of their registers, in rationals of any size.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "common/dev/sclk/clock_plan.h"
#include "common/dev/sclk/clock_registers.h"
#include "common/dev/sclk/exact.h"
#include "tests/common/dev/sclk/chip_clock.h"

namespace {

using sclk_test::Integer;
using sclk_test::Rational;
using sclk_test::ToRational;

class Plan : public testing::Test {
 protected:
  Plan() { get_default_params(params); }

  /// Test frequency in Hz, and samples that suit it.
  void Set(const Rational& hertz) {
    const Rational megahertz = hertz / 1000000;
    params.op[0].test_freq = {0, static_cast<std::uint64_t>(numerator(megahertz)),
                              static_cast<std::uint64_t>(denominator(megahertz))};
    ASSERT_EQ(m3x64_reduce(params.op[0].test_freq), 0);
    params.wf_samples_per_cycle = calculate_wf_samples_per_cyc(static_cast<float>(hertz));
    params.adc_samples_per_cycle = 8;
    while (params.adc_samples_per_cycle < 1U << 30 &&
           hertz * params.adc_samples_per_cycle * 2 <= 30720) {
      params.adc_samples_per_cycle *= 2;
    }
  }
  sclk_test::Registers Registers() const {
    return [this](int address) { return reg_seek(*table, address)->Reg_Val; };
  }
  bool Generate() {
    table = find_digital_frequencies(params, 0) == 0 ? generate_reg_struct(params) : nullptr;
    return table != nullptr;
  }
  Rational Mclk(const Rational& clk0) const {
    return clk0 / (Integer(2) << (params.mclk_divider_select >> 7));
  }
  Rational Wclk(const Rational& clk0) const {
    return clk0 / (Integer(2) << (params.wclk_divider_select >> 11));
  }
  Rational TestFrequency() const { return ToRational(params.op[0].test_freq); }

  Param_Values params;
  std::unique_ptr<RegTable> table;
};

/// Numbers of millionths of a hertz: the ends, whole and nearly whole values, and many between.
std::vector<std::uint64_t> Frequencies() {
  std::vector<std::uint64_t> all = {100,        101,        999999,     1000000,
                                    60000000,   50000000,   59999999,   400000000,
                                    4882812500, 4882812501, 6999999999, 7000000000};
  std::mt19937_64 random(6000);
  std::uniform_real_distribution<double> decade(std::log(100.0), std::log(7e9));
  for (int i = 0; i < 4000; ++i) {
    const auto micro = static_cast<std::uint64_t>(std::exp(decade(random)));
    all.push_back(micro);
    if (micro > 1000000) all.push_back(micro / 1000000 * 1000000);
  }
  return all;
}

TEST_F(Plan, TheChipMakesTheClocksForTheFrequency) {
  int exact_plans = 0;
  for (const std::uint64_t micro : Frequencies()) {
    SCOPED_TRACE(micro);
    get_default_params(params);
    Set(sclk_test::Ratio(micro, 1000000));
    ASSERT_TRUE(Generate());
    const Rational clk0 = sclk_test::Clk0(Registers(), 25);
    const Rational mclk =
        TestFrequency() * params.adc_clocks_per_sample * params.adc_samples_per_cycle;
    const Rational wclk = TestFrequency() * params.wf_samples_per_cycle * 16;
    // the dividers fit each other whatever the chip makes
    ASSERT_EQ(Wclk(clk0) / Mclk(clk0), wclk / mclk);

    const Rational feedback = sclk_test::DivideRatio(Registers(), 97);
    const Rational divider = sclk_test::DivideRatio(Registers(), 53);
    const Rational wanted =
        ToRational(params.op[0].clkx_freq) * divider * (1 << ((Registers()(31) >> 2) & 7)) / 25;
    ASSERT_EQ(denominator(divider), 1);
    ASSERT_EQ(numerator(divider) % 2, 0);
    if (denominator(wanted) < Integer(1) << 30) {
      ASSERT_EQ(Mclk(clk0), mclk);
      ++exact_plans;
    } else {
      // the fraction keeps at least 29 bits
      ASSERT_LE(abs(feedback - wanted), sclk_test::Ratio(1, 1 << 29));
    }
    const Rational vco = sclk_test::VcoFrequency(Registers(), 25);
    ASSERT_GE(vco, 2199);
    ASSERT_LE(vco, 2841);

    for (const Reg_Data& row : *table) {
      if (row.Reg_Addr == 230 || row.Reg_Addr == 241) continue;  // driven by the procedure alone
      ASSERT_EQ(row.Reg_Val & ~row.Reg_Mask, 0) << row.Reg_Addr;
    }
  }
  EXPECT_GT(exact_plans, 1000);
}

TEST_F(Plan, LoopRegistersFollowTheManual) {
  const struct {
    std::uint64_t clkin, p1_divide;
    m3x64_num clk0;
    int resistor_bandwidth, k;
  } cases[] = {
      {25, 0, {153, 3, 7}, 0, 925}, {15, 0, {133, 1, 3}, 0, 925}, {28, 2, {120, 0, 1}, 5, 325},
      {14, 2, {99, 0, 1}, 14, 185}, {30, 0, {5, 0, 1}, 0, 925},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.clkin << "/" << c.p1_divide << " " << c.clk0.a);
    params.clkin_freq = {c.clkin, 0, 1};
    params.p1_divide = static_cast<int>(c.p1_divide);
    params.op[0].clkx_freq = c.clk0;
    table = generate_reg_struct(params);
    ASSERT_NE(table, nullptr);
    const Rational pfd = Rational(c.clkin) / (c.p1_divide == 0 ? 1 : c.p1_divide);
    const Rational vco = ToRational(c.clk0) * sclk_test::DivideRatio(Registers(), 53);
    const bool slow = vco < 2425;
    const Rational kphi = sclk_test::Ratio(c.k, 533 * (slow ? 4 : 3)) * vco / pfd *
                          sclk_test::Power(Rational(2500) / vco, 3);
    EXPECT_EQ(Registers()(48), sclk_test::Round(kphi));
    EXPECT_EQ(Registers()(28), c.clkin <= 11 ? 0U : c.clkin < 19 ? 1U : c.clkin < 26 ? 2U : 3U);
    EXPECT_EQ(Registers()(49), c.resistor_bandwidth | (slow ? 16 : 0));
    EXPECT_EQ(Registers()(50), 0xC0 + sclk_test::Round(sclk_test::Ratio(2067, 100) -
                                                       sclk_test::Ratio(667, 100000) * vco));
    EXPECT_EQ(sclk_test::Clk0(Registers(), c.clkin), ToRational(c.clk0));
  }
}

TEST_F(Plan, ChoiceOfTheDivider) {
  const struct {
    m3x64_num clk0;
    unsigned step;
    int divider, mode;  // of register 51
  } cases[] = {
      {{600, 0, 1}, 0, 4, 0x10},  // the chip's integer mode
      {{400, 0, 1}, 0, 6, 0x10}, {{300, 0, 1}, 5, 8, 0}, {{138, 8, 9}, 5, 18, 0},  // 2500 exactly
      {{710, 0, 1}, 0, 4, 0x10},                                                   // 2840, the last
      {{124, 0, 1}, 5, 20, 0},  // 2480 (320) before 2728 (112)
      {{20, 0, 1}, 5, 126, 0},  // 2520 (320) beats 2480 (320): of equals the larger divider
      {{2, 1, 2}, 5, 500, 0},   // through R = 2
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.divider);
    params.op[0].clkx_freq = c.clk0;
    params.op[0].fidppm = c.step;
    table = generate_reg_struct(params);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(sclk_test::DivideRatio(Registers(), 53), c.divider);
    EXPECT_EQ(Registers()(51) & 0xF0, static_cast<unsigned>(c.mode));
  }
}

TEST_F(Plan, ImpossiblePlansAreRefused) {
  using Change = void (*)(Param_Values&);
  const Change search[] = {
      [](Param_Values& p) { p.op[0].test_freq.a = p.op[0].test_freq.b = 0; },
      [](Param_Values& p) { p.op[0].test_freq.b = 7000; },     // 4096 samples: too fast
      [](Param_Values& p) { p.adc_samples_per_cycle = 500; },  // no power of two
      [](Param_Values& p) { p.op[0].test_freq.c = 0; },
  };
  for (const auto& change : search) {
    SCOPED_TRACE(&change - search);
    get_default_params(params);
    change(params);
    const Param_Values before = params;
    EXPECT_LT(find_digital_frequencies(params, 0), 0);
    EXPECT_EQ(params.op[0].clkx_freq, before.op[0].clkx_freq);
    EXPECT_EQ(params.mclk_divider_select, before.mclk_divider_select);
  }
  const Change registers[] = {
      [](Param_Values& p) { p.op[0].clkx_freq.a = 0; },  // below 156.25 kHz
      [](Param_Values& p) { p.op[0].clkx_freq.a = 711; },
      [](Param_Values& p) { p.op[0].clkx_freq.a = 400; },  // steps, so not divided by 6
      [](Param_Values& p) { p.clkin_freq.a = 31; },
      [](Param_Values& p) { p.p1_divide = 3; },
  };
  for (const auto& change : registers) {
    SCOPED_TRACE(&change - registers);
    get_default_params(params);
    change(params);
    EXPECT_EQ(generate_reg_struct(params), nullptr);
  }
  get_default_params(params);
  ASSERT_TRUE(Generate());
  EXPECT_EQ(Mclk(sclk_test::Clk0(Registers(), 25)) * 1000000, 60 * 64 * 512);
  EXPECT_EQ(ClockSelectWord(params), params.wclk_divider_select | params.mclk_divider_select | 32);
}

TEST_F(Plan, WaveformSamplesAndSingleFrequencies) {
  const struct {
    float hertz;
    unsigned samples;
  } samples[] = {{60, 4096}, {305.17F, 4096}, {305.18F, 2048}, {1e9F, 128}};
  for (const auto& c : samples) {
    EXPECT_EQ(calculate_wf_samples_per_cyc(c.hertz), c.samples) << c.hertz;
  }
  m3x64_num out{7, 7, 7};
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), -1.0F, 2e9F,
                          std::numeric_limits<float>::infinity()}) {
    EXPECT_LT(float_Hz_to_m3x64_MHz(bad, out), 0) << bad;
  }
  EXPECT_EQ(out, (m3x64_num{7, 7, 7}));
  const struct {
    float hertz;
    std::uint64_t micro;
  } read[] = {{60, 60000000}, {50.1F, 50099998}, {6999.9995F, 6999999512}};
  for (const auto& c : read) {
    ASSERT_EQ(float_Hz_to_m3x64_MHz(c.hertz, out), 0) << c.hertz;
    EXPECT_EQ(ToRational(out), sclk_test::Ratio(Integer(c.micro), Integer(1000000000000)));
  }
}

}  // namespace

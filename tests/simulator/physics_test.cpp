// What the samples show of a known source and device, against closed forms.

#include "simulator/signal/level.h"
#include "tests/simulator/sample_fixture.h"

namespace simulator {
namespace {

using Real = long double;
using Complex = std::complex<Real>;
constexpr Real kPi = std::numbers::pi_v<Real>;

/// Ranges of the shipped MEAS_CH1 and MEAS_CH2, as their files have them.
struct Range {
  Real full_scale, gain_error;
  Real gain[3], lag[3];  ///< polynomials
  Real filter_gain, corner;
};

Complex Response(const Range& range, Real f) {
  const Real gain = range.gain[0] + f * (range.gain[1] + f * range.gain[2]);
  const Real lag = range.lag[0] + f * (range.lag[1] + f * range.lag[2]);
  const Real counts = 8388608 / (range.full_scale * (1 + range.gain_error)) / gain;
  return std::polar(counts, -lag) / range.filter_gain / Complex(1, f / range.corner);
}

class PhysicsTest : public SampleTest {
 protected:
  static constexpr Range kVolts = {
      750,      0.00249L, {0.999712L, -1.25e-08L, 2.77e-11L}, {8.16e-06L, 2.033e-06L, -1.83e-12L},
      0.99987L, 50000};

  void Set(const std::string& value) { ASSERT_EQ(Control("set " + value), "ok") << value; }
  /// Both channels on the voltage range without a filter of note, no noise.
  void StartQuiet() {
    Start60Hz();
    Prepare(0, InputMode::kAcVolt, 2, 0x24);
    Prepare(1, InputMode::kAcVolt, 2, 0x24);
    Set("samples.noise 0");
  }
  static void ExpectNear(Complex found, Complex expected, Real counts, Real hertz = 60) {
    EXPECT_LT(std::abs(found - expected), counts)
        << hertz << " Hz: " << static_cast<double>(found.real()) << " "
        << static_cast<double>(found.imag()) << " instead of "
        << static_cast<double>(expected.real()) << " " << static_cast<double>(expected.imag());
  }
};

TEST_F(PhysicsTest, BothChannelsShowTheBushing) {
  Start60Hz();
  Prepare(0, InputMode::kAcVolt, 2, 0x24);
  Prepare(1, InputMode::kAcdcCurrent, 2, 0x72);
  Set("samples.noise 0");
  Set("source.amplitude 100");
  Set("source.phase 30");
  Set("source.on 1");
  StartSampling();
  AdvancePairs(512 * 64);
  const Complex source = std::polar(100 * std::sqrt(Real{2}), kPi / 6);
  ExpectNear(Project(0, 0, 64), source * Response(kVolts, 60), 0.1L);

  const RangeHardware& range = Board(1).Hardware().ranges[1][6];  // 0x72
  const Range amperes = {range.full_scale,
                         range.gain_error,
                         {range.gain[0], range.gain[1], range.gain[2]},
                         {range.lag[0], range.lag[1], range.lag[2]},
                         Board(1).Hardware().filters[2].gain,
                         50000};
  const Real susceptance = 2 * kPi * 60 * 1e-9L;
  const Complex current = source * Complex(0.004L * susceptance, susceptance);
  ExpectNear(Project(1, 0, 64), current * Response(amperes, 60), 0.1L);
}

TEST_F(PhysicsTest, LeadsInUseShuntTheDevice) {
  StartQuiet();
  Set("source.kind current");
  Set("source.amplitude 0.001");
  Set("source.on 1");
  Set("dut.circuit parallel R=100000");
  Set("leads.stray HV1 MIR C=2e-8 tan=0.5, SVR MIR C=1e-8");
  Set("leads.measure MIR MIB");
  Set("leads.energize HV1 HV2");
  StartSampling();
  AdvancePairs(512 * 64);
  const Complex admittance = 1e-5L + 2 * kPi * 60 * 2e-8L * Complex(0.5L, 1);
  const Complex volts = 0.001L * std::sqrt(Real{2}) / admittance;
  ExpectNear(Project(0, 0, 64), volts * Response(kVolts, 60), 0.1L);
}

TEST_F(PhysicsTest, LeadsAreShownAsTheyAreSetAndNothingElseIsTaken) {
  StartQuiet();
  for (const std::string line : {"stray HV1 MIR C=5e-12 tan=0.002, SVR MIB C=8e-12", "stray none",
                                 "energize MIR HV2", "measure none", "measure EX"}) {
    Set("leads." + line);
    const std::string name = line.substr(0, line.find(' '));
    EXPECT_EQ(Control("get leads." + name), "ok " + line.substr(name.size() + 1));
  }
  for (const std::string line :
       {"stray", "stray HV1 MIR", "stray HV1 C=1e-12", "stray HV1 XX C=1e-12", "stray HV1 MIR C=0",
        "stray HV1 MIR C=nan", "stray HV1 MIR C=1e-12 tan=-1", "stray HV1 MIR C=1e-12, ",
        "energize HV3", "measure HV1,MIR"}) {
    EXPECT_NE(Control("set leads." + line), "ok") << line;
  }
}

TEST_F(PhysicsTest, TheSourceIsWhatItsValuesSay) {
  StartQuiet();
  Set("source.kind current");
  Set("dut.circuit series R=200 L=0.5");
  Set("source.amplitude 0.5");
  Set("source.harmonics 3:0.1:40");
  Set("source.dc 0.25");
  Set("source.line_noise 0.01");
  Set("line.frequency 50");
  Set("source.on 1");
  StartSampling();
  AdvancePairs(512 * 60);  // whole cycles of 60, 180 and 50 Hz
  const auto volts = [](Real f) { return Complex(200, 2 * kPi * f * 0.5L); };
  const Real peak = std::sqrt(Real{2}) / 2;
  ExpectNear(Project(0, 0, 60), peak * volts(60) * Response(kVolts, 60), 0.1L);
  ExpectNear(Project(0, 0, 60, 180),
             std::polar(peak / 10, 40 * kPi / 180) * volts(180) * Response(kVolts, 180), 0.1L, 180);
  ExpectNear(Project(0, 0, 60, 50), peak / 100 * volts(50) * Response(kVolts, 50), 0.1L, 50);
  const Real offset = Board(0).Hardware().ranges[2][0].offset;
  EXPECT_NEAR(static_cast<double>(Mean(0, 0, 60)),
              static_cast<double>(50 * Response(kVolts, 0).real() + offset), 0.1);
}

TEST_F(PhysicsTest, PhasesDoNotDrift) {
  StartQuiet();
  Set("source.amplitude 100");
  Set("source.on 1");
  StartSampling();
  constexpr std::size_t kHours10 = 512UL * 60 * 36000;
  clock_.Advance(std::chrono::hours(10));
  AdvancePairs(512 * 20);
  const Complex expected = 100 * std::sqrt(Real{2}) * Response(kVolts, 60);
  ExpectNear(Project(0, kHours10, 20), expected, 0.2L);

  Set("source.frequency 57");
  StartSampling();
  clock_.Advance(std::chrono::hours(10));
  AdvancePairs(512 * 20);  // 19 cycles
  ExpectNear(Project(0, kHours10, 20, 57), 100 * std::sqrt(Real{2}) * Response(kVolts, 57), 0.2L,
             57);
  // a new frequency goes on from where the old one was
  Set("source.frequency 60");
  AdvancePairs(512 * 20);
  ExpectNear(Project(0, kHours10 + 10240, 20), expected, 20);
}

TEST_F(PhysicsTest, TheFilterSettlesToItsNewState) {
  StartQuiet();
  Set("source.dc 300");
  Set("source.on 1");
  Configure(0, InputMode::kAcVolt, 7);
  StartSampling();
  AdvancePairs(1000.5);
  const Real before = Sample(999, 0);
  Set("source.dc -200");
  AdvancePairs(4000);
  const Real offset = Board(0).Hardware().ranges[2][0].offset;
  Range range = kVolts;
  range.filter_gain = 0.99990L;
  const Real after = -200 * Response(range, 0).real() + offset;
  const Real constant = kRate / (2 * kPi * 6.34425L);  // pairs
  for (const std::size_t pairs : {0UL, 100UL, 771UL, 2000UL, 3998UL}) {
    const Real left = std::exp(-static_cast<Real>(pairs) / constant);
    EXPECT_NEAR(Sample(1000 + pairs, 0), static_cast<double>(after + (before - after) * left), 1.5)
        << pairs;
  }
}

TEST_F(PhysicsTest, TheDacNullsTheOffset) {
  Start60Hz();
  Prepare(0, InputMode::kAcdcCurrent, 2, 0x6A);
  Prepare(1, InputMode::kAcdcCurrent, 2, 0x6A);
  StartSampling();
  AdvancePairs(5120.5);
  const Real mean = Mean(0, 0, 10);
  EXPECT_NEAR(static_cast<double>(mean), -17325, 0.2);
  Real spread = 0;
  for (std::size_t i = 0; i < 5120; ++i) spread += std::pow(Sample(i, 0) - mean, 2);
  EXPECT_NEAR(static_cast<double>(std::sqrt(spread / 5120)), 2, 0.1) << "the ADC's noise";
  const Real step = 0.09631L;  // DAC counts a sample count
  Board(0).SetDac(0, static_cast<std::uint16_t>(0x8000 + static_cast<int>(mean * step)));
  AdvancePairs(6000);
  EXPECT_LT(std::abs(Mean(0, 5632, 10)), 1 / step);

  Set("i2c.MEAS_CH1.DAC8571.dac1 0x9000");
  WriteCpld(0, 8, {0x55, 0, 7});  // DC test mode 7: DAC 1 to the ADC
  StartSampling();
  AdvancePairs(512);
  EXPECT_NEAR(static_cast<double>(Mean(0, 0, 1)), 1621 - 0x1000 / 0.4405, 0.5);
}

TEST_F(PhysicsTest, ASignalBeyondFullScaleIsClipped) {
  StartQuiet();
  Set("source.amplitude 1000");
  Set("source.on 1");
  StartSampling();
  AdvancePairs(512);
  const Real peak = 1000 * std::sqrt(Real{2}) * std::abs(Response(kVolts, 60));
  int clipped = 0;
  for (std::size_t i = 0; i < 512; ++i) {
    const bool over = Condition(i, 0) == 0x40;
    clipped += over;
    ASSERT_EQ(over, std::abs(Sample(i, 0)) == 0x7FFFFF) << i;
  }
  const Real share = 1 - std::asin(0x7FFFFF / peak) * 2 / kPi;
  EXPECT_NEAR(clipped, static_cast<double>(512 * share), 3);
  Bytes status(24);
  Board(0).Cpld().Exchange(4, Bytes(24), status, false);
  EXPECT_EQ(status[0], 0x08);
  Set("source.amplitude 10");
  AdvancePairs(1024);
  Board(0).Cpld().Exchange(4, Bytes(24), status, false);
  EXPECT_EQ(status[0], 0);
}

TEST_F(PhysicsTest, TheBoardsSettingsActAtTheirTime) {
  StartQuiet();
  Set("source.dc 100");
  Set("source.on 1");
  StartSampling();
  AdvancePairs(1000.5);
  SetRange(0, 0x28);  // 50 ms are 1536 pairs
  instrument_->Update();
  const int volts = static_cast<int>(std::lround(100 * Response(kVolts, 0).real() - 600.75L));
  EXPECT_NEAR(Sample(999, 0), volts, 2);
  EXPECT_EQ(Sample(1001, 0), 0x7FFFFF) << "ten times as sensitive";
  EXPECT_EQ(Condition(999, 0), 0U);
  for (const std::size_t pair : {1000UL, 2535UL}) EXPECT_EQ(Condition(pair, 0), 0xC0U) << pair;
  EXPECT_EQ(Condition(2538, 0), 0x40U);
  EXPECT_EQ(Condition(1000, 1), 0U) << "the other channel's CPLD is not busy";
}

}  // namespace
}  // namespace simulator

// Results of known components beside the closed forms.
#include "common/electrical/elec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

namespace {

using acquisition::elec;
using acquisition::electricalresults_t;
using acquisition::phasorarr_t;
using acquisition::phasortoo_t;

constexpr double kPi = std::numbers::pi;
constexpr double kHertz = 60;
constexpr double kOmega = 2 * kPi * kHertz;

struct Doubling : calibration::Q5Cal {
  int ApplyCalibration(phasortoo_t* phasors) override {
    phasors[1].mag *= 2;
    return 1;
  }
};

class ElecTest : public testing::Test {
 protected:
  ElecTest() {
    test.frequency = kHertz;
    results_.SetTest(&test);
  }
  electricalresults_t Results(double m0, double p0, double m1, double p1, int type = 0) {
    const phasorarr_t measured{{0, 0}, {7, 7}, 512};
    const phasortoo_t corrected[2] = {{p0, m0, 0, 0, 512}, {p1, m1, 0, 0, 512}};
    results_.StorePhasors(&type, &measured, corrected);
    electricalresults_t r{};
    results_.GetResults(type == 0 ? 4 : 2, &r);
    return r;
  }
  Msg::TestParameters test;
  elec results_;
};

// Single precision, worse where the phase's rounding meets a small component.
#define EXPECT_CLOSE(a, b) EXPECT_NEAR((a) / (b), 1, tolerance)

TEST_F(ElecTest, ImpedancesInEveryQuadrant) {
  for (const std::complex<double> z :
       {std::complex(100.0, 0.03 * kOmega), std::complex(5.0, -1 / (kOmega * 1e-6)),
        std::complex(-40.0, 30.0), std::complex(-2.0, -7000.0), std::complex(1e6, 2e5)}) {
    SCOPED_TRACE(z);
    const double tolerance = 1e-6 * std::abs(z) / std::min(std::abs(z.real()), std::abs(z.imag()));
    for (const double turn : {0.0, 2.0, 6.0}) {  // where the current stands
      const double volts = 12;
      const double amps = volts / std::abs(z);
      const double delta = std::arg(z) < 0 ? std::arg(z) + 2 * kPi : std::arg(z);
      const auto r = Results(volts, std::fmod(turn + delta, 2 * kPi), amps, turn);
      const double sine = z.imag() / std::abs(z);
      EXPECT_CLOSE(r.delta_ph, delta);
      EXPECT_CLOSE(r.powerfactor, z.real() / std::abs(z));
      EXPECT_CLOSE(r.sin_dph, sine);
      EXPECT_CLOSE(r.zre, z.real());
      EXPECT_CLOSE(r.zim, z.imag());
      EXPECT_CLOSE(r.tandelta, z.imag() / z.real());
      EXPECT_CLOSE(r.serscap, -1e12 / (kOmega * z.imag()));
      EXPECT_CLOSE(r.parlcap, -1e12 / (kOmega * z.imag()) * sine * sine);
      EXPECT_CLOSE(r.sersind, z.imag() / kOmega);
      EXPECT_CLOSE(r.parlind, z.imag() / kOmega / (sine * sine));
      EXPECT_CLOSE(r.sersres, z.real());
      EXPECT_CLOSE(r.vectorcrsproduct, z.imag() / (amps * amps));
      EXPECT_CLOSE(r.vectordotproduct, z.real() / (amps * amps));
      EXPECT_CLOSE(r.acwatts, amps * amps * z.real());
      EXPECT_EQ(r.mag[0], volts);
      EXPECT_EQ(r.phase[1], turn);
    }
  }
}

TEST_F(ElecTest, WithoutCurrentPhaseOrFrequency) {
  constexpr double tolerance = 1e-6;
  auto r = Results(10, 1, 0, 0.5);
  EXPECT_EQ(r.tandelta, 1);
  EXPECT_EQ(r.sin_dph, 0);
  EXPECT_FLOAT_EQ(r.powerfactor, static_cast<float>(std::cos(0.5)));
  EXPECT_CLOSE(r.serscap, -1e12 / kOmega);
  EXPECT_EQ(r.parlind, std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(r.sersres) || std::isinf(r.sersres));

  r = Results(10, 1, 2, 1);  // purely real
  EXPECT_EQ(r.zim, 0);
  EXPECT_EQ(r.serscap, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(r.parlind));
  EXPECT_EQ(r.sersres, 5);

  r = Results(10, 1, 2, 1 + 1e-5);  // just behind: near a whole turn
  EXPECT_GT(r.delta_ph, 6.28F);
  EXPECT_LT(r.sin_dph, 0);
  EXPECT_GT(r.serscap, 0);

  test.frequency = 0;
  r = Results(10, 1, 2, 0);
  EXPECT_EQ(r.sersind, std::numeric_limits<float>::infinity());
  EXPECT_EQ(r.serscap, -std::numeric_limits<float>::infinity());
}

TEST_F(ElecTest, EachFilterHasItsOwnResult) {
  electricalresults_t r{};
  results_.GetResults(1, &r);
  EXPECT_EQ(r.mag[0], 0);
  Results(10, 1, 2, 0.5, 0);
  Results(20, 1, 2, 0.5, 1);
  Results(30, 1, 2, 0.5, 5);
  for (const auto& [which, mag] : {std::pair(1, 10), {4, 10}, {0, 20}, {2, 20}, {3, 20}}) {
    results_.GetResults(which, &r);
    EXPECT_EQ(r.mag[0], mag) << which;
  }
}

TEST_F(ElecTest, TheInstrumentsCalibrationComesLast) {
  Doubling doubling;
  results_.SetStray(&doubling);
  EXPECT_EQ(Results(10, 1, 3, 0.5).mag[1], 6);
  EXPECT_EQ(Results(10, 1, 5, 0.5, 1).mag[1], 10);
}

}  // namespace

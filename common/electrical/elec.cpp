#include "common/electrical/elec.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/log/log_line.h"

namespace acquisition {
namespace {

constexpr int kSlowFilter = 0;
constexpr int kFastFilter = 1;
constexpr double kTwoPi = 2 * std::numbers::pi;

double fix_dphase(double d) {
  if (d < 0) d += kTwoPi;
  if (d > kTwoPi) d -= kTwoPi;
  return d;
}

// A field that a later line uses is rounded to single precision before.
void Calculate(const phasortoo_t* phasors, double hertz, electricalresults_t& r) {
  const double m0 = phasors[0].mag;
  const double m1 = phasors[1].mag;
  for (int ch = 0; ch < 2; ++ch) {
    r.phase[ch] = phasors[ch].phase;
    r.mag[ch] = phasors[ch].mag;
  }
  r.delta_ph = static_cast<float>(fix_dphase(phasors[0].phase - phasors[1].phase));
  const double delta = r.delta_ph;
  const double exact_sine = std::sin(delta);  // beside the cosine, both come from one call
  r.powerfactor = static_cast<float>(std::cos(delta));
  const double cosine = r.powerfactor;
  if (m1 == 0) {
    r.sin_dph = 0;
    r.zre = 1;
    r.zim = 1;
  } else {
    r.sin_dph = static_cast<float>(exact_sine);
    r.zre = static_cast<float>(m0 / m1 * cosine);
    r.zim = static_cast<float>(m0 / m1 * static_cast<double>(r.sin_dph));
  }
  const double sine = r.sin_dph;
  const double zre = r.zre;
  const double zim = r.zim;
  r.serscap = static_cast<float>(-1 / (hertz * kTwoPi * zim) * 1e6 * 1e6);
  r.parlcap = static_cast<float>(static_cast<double>(r.serscap) * sine * sine);
  r.sersind = static_cast<float>(zim / (hertz * kTwoPi));
  r.parlind = static_cast<float>(static_cast<double>(r.sersind) / (sine * sine));
  r.tandelta = static_cast<float>(zim / zre);
  r.sersres = static_cast<float>(cosine * m0 / m1);
  r.vectorcrsproduct = static_cast<float>(zim / (m1 * m1));
  r.vectordotproduct = static_cast<float>(zre / (m1 * m1));
  r.acwatts = static_cast<float>(m0 * m1 * cosine);
}

}  // namespace

elec& elec::GetElec() {
  static elec instance;
  return instance;
}

bool elec::ApplyStray(phasortoo_t* phasors) const {
  return stray != nullptr && stray->ApplyCalibration(phasors) != 0;
}

void elec::StorePhasors(const int* filtertype, const phasorarr_t* measured,
                        const phasortoo_t* corrected) {
  if (*filtertype == kFastFilter) {
    std::copy_n(corrected, 2, fast);
    DoCalcFast();
  } else if (*filtertype == kSlowFilter) {
    Q5_LOG_DEBUG(elecL, "Slow before calibration mag(0, 1) (%e, %e) phase(0, 1) (%e, %e) \n",
                 measured->mag[0], measured->mag[1], measured->phase[0], measured->phase[1]);
    std::copy_n(corrected, 2, slow);
    DoCalcSlow();
  }
}

void elec::DoCalcSlow() {
  phasortoo_t local[2];
  std::copy_n(slow, 2, local);
  if (!ApplyStray(local)) {
    Q5_LOG_DEBUG(elecL, "No slow Calibration applied\n");
  }
  Q5_LOG_DEBUG(elecL, "Slow after calibration mag(0, 1) (%e, %e) phase(0, 1) (%e, %e) \n",
               local[0].mag, local[1].mag, local[0].phase, local[1].phase);
  Calculate(local, Frequency(), slowelectrical[slowupdateindex]);
  const platform::Lock lock(slowelecsem);
  slowresultindex = slowupdateindex;
  slowupdateindex = 1 - slowupdateindex;
}

void elec::DoCalcFast() {
  phasortoo_t local[2];
  std::copy_n(fast, 2, local);
  Q5_LOG_DEBUG(elecL, "Fast before calibration mag(0,1) (%e, %e) phase(0,1) (%e, %e)\n",
               local[0].mag, local[1].mag, local[0].phase, local[1].phase);
  if (!ApplyStray(local)) {
    Q5_LOG_DEBUG(elecL, "No fast Calibration applied.\n");
  }
  Q5_LOG_DEBUG(elecL, "Fast after calibration mag(0,1) (%e, %e) phase(0,1) (%e, %e)\n",
               local[0].mag, local[1].mag, local[0].phase, local[1].phase);
  Calculate(local, Frequency(), fastelectrical[fastupdateindex]);
  const platform::Lock lock(fastelecsem);
  fastresultindex = fastupdateindex;
  fastupdateindex = 1 - fastupdateindex;
}

void elec::GetResults(int which, electricalresults_t* results) const {
  if (which == 1 || which == 4) {
    const platform::Lock lock(slowelecsem);
    *results = slowelectrical[slowresultindex];
  } else {
    const platform::Lock lock(fastelecsem);
    *results = fastelectrical[fastresultindex];
  }
}

}  // namespace acquisition

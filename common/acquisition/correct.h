// The calibration of phasors: per channel a gain factor and a phase offset, each the product or
// sum of three polynomials in the test frequency.
//
//   source      polynomial of                        phase sign
//   meas_ch     the channel's range                  + if the channel's EEPROM says so, else -
//   filter      the filter in use                    as meas_ch
//   main_ref    the main reference channel           + if its EEPROM says so, else -
//
// gain = meas_ch x filter x main_ref (ratio); phase in rad, added to a phasor's. Polynomials are
// evaluated in single precision.
//
// Threads: any. There is no lock: a change of several factors may be seen in part by a phasor that
// is corrected at that moment. Channels are 0 and 1.
#pragma once

#include <array>
#include <atomic>

#include "common/acquisition/sample_channel.h"
#include "common/calibration/phasor.h"
#include "common/xml/cal_tables.h"

namespace acquisition {

/// Hz.
using CORR_FREQUENCY = std::atomic<float>;

struct f_corr {
  std::atomic<float> meas_ch;
  std::atomic<float> main_ref;
  std::atomic<float> filter;
  std::atomic<float> overall;
};

class Correct {
 public:
  /// Made on first use.
  static Correct& GetCorrect();
  /// Scale 1, gain 1, phase 0.
  static constexpr const Dev::mode_range_table_ent& identity_factors = Dev::kIdentityEntry;

  Correct() { Corr_init(); }
  Correct(const Correct&) = delete;
  Correct& operator=(const Correct&) = delete;

  const char* name() const { return "Correct"; }

  /// No correction from any source, at the test frequency if that lies in the instrument's range,
  /// else at 0 Hz.
  void Corr_init();
  /// Corrections follow the test frequency from now on.
  void Corr_set_frequency();
  /// Corrections stay at this frequency.
  void Corr_set_frequency(float hertz);

  /// Takes the polynomials of the range in use once the front end has confirmed it, the identity
  /// until then. Range index 6 counts as confirmed.
  void Corr_set_range(int hwch, const SampleChannel& channel);
  /// Null is the identity. The entry must outlive its use.
  void Corr_set_filter(int ch, const Dev::mode_range_table_ent* entry);
  void Corr_set_ref_chan(int ch, const Dev::mode_range_table_ent* entry);

  /// Whether the sources count: all for a value above 0, else none. Takes effect at the next change
  /// of a source or of the frequency.
  void SetCalibration(int on);
  void SetRangeCal(bool on) { rangecal = on; }
  void SetFilterCal(bool on) { filtercal = on; }
  void SetMainrefCal(bool on) { mainrefcal = on; }

  /// Corrects `mag` and `phase` of two phasors; leaves the other fields of `out` alone. Both may be
  /// the same array. 0 on success; on any other value `out` is unchanged.
  int Corr_phasors(const phasortoo_t* in, phasortoo_t* out);
  /// A raw sample in V or A.
  float Corr_sample_amplitude(int ch, int sample) const;

 private:
  struct Factors {
    f_corr gain;
    f_corr phase;
  };
  /// Logs a source that does not count.
  struct NoCalibTexts {
    const char* gain;
    const char* phase;
  };
  using Entry = std::atomic<const Dev::mode_range_table_ent*>;

  int Corr_check_freq_precalc();
  void Corr_frequency_changed(float hertz);
  void Compute(bool calibrated, const Dev::mode_range_table_ent& entry, const NoCalibTexts& texts,
               std::atomic<float>& gain, std::atomic<float>& phase) const;
  void ComputeRange(int ch);
  void ComputeFilter(int ch);
  void ComputeMainRef(int ch);
  void ComputeOverall(int ch);
  void Corr_polynomial_sum(int ch);
  float Evaluate(const Dev::poly_coef_union& coefficients) const;

  std::atomic<const CORR_FREQUENCY*> pFreq{&freq};
  CORR_FREQUENCY freq{0};  ///< that of the factors
  CORR_FREQUENCY freq__2{0};
  CORR_FREQUENCY freq__3{0};
  std::array<Factors, 2> c_factor{};
  std::array<Entry, 2> pRange{};
  std::array<Entry, 2> pFilter{};
  std::array<Entry, 2> pRefChan{};
  std::atomic<bool> rangecal{true};
  std::atomic<bool> filtercal{true};
  std::atomic<bool> mainrefcal{true};
};

}  // namespace acquisition

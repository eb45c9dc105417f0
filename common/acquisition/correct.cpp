#include "common/acquisition/correct.h"

#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "common/xml/eeprom_dev.h"

using Dev::mode_range_table_ent;

namespace acquisition {
namespace {

/// Test frequencies between these limits (Hz) are corrected from the start.
constexpr float kLowestFrequency = 0.0001F;
constexpr float kHighestFrequency = 7000.0F;

/// The range index that needs no confirmation.
constexpr int kAlwaysRange = 6;

const mode_range_table_ent* OrIdentity(const mode_range_table_ent* entry) {
  return entry == nullptr ? &Correct::identity_factors : entry;
}

bool IsChannel(int ch) { return ch == 0 || ch == 1; }

bool PhaseAdds(int ch) {
  return (ch == 0 ? Dev::MeasCh1EEPROM::GetMeasCh1EEPROM().action_3s
                  : Dev::MeasCh2EEPROM::GetMeasCh2EEPROM().action_4s) != 0;
}

}  // namespace

Correct& Correct::GetCorrect() {
  static Correct instance;
  return instance;
}

void Correct::Corr_init() {
  for (auto* source : {&pRange, &pFilter, &pRefChan}) {
    for (auto& entry : *source) entry = &identity_factors;
  }
  const float hertz = Msg::ghmp->GetFrequency();
  if (hertz > kLowestFrequency && hertz < kHighestFrequency) {
    Corr_set_frequency();
  } else {
    Corr_set_frequency(0);
  }
}

void Correct::Corr_set_frequency() {
  pFreq = &Msg::ghmp->frequency;
  Corr_frequency_changed(Msg::ghmp->frequency);
}

void Correct::Corr_set_frequency(float hertz) {
  pFreq = &freq;
  Corr_frequency_changed(hertz);
}

void Correct::Corr_set_range(int hwch, const SampleChannel& channel) {
  if (!IsChannel(hwch)) return;
  const mode_range_table_ent* range = channel.get_range_info_in_use();
  const bool confirmed = channel.get_last_cpld_range() == static_cast<int>(range->RangeCode) ||
                         channel.get_range_index() == kAlwaysRange;
  pRange[hwch] = confirmed ? range : &identity_factors;
  ComputeRange(hwch);
  ComputeOverall(hwch);
}

void Correct::Corr_set_filter(int ch, const mode_range_table_ent* entry) {
  if (!IsChannel(ch)) return;
  pFilter[ch] = OrIdentity(entry);
  ComputeFilter(ch);
  ComputeOverall(ch);
}

void Correct::Corr_set_ref_chan(int ch, const mode_range_table_ent* entry) {
  if (!IsChannel(ch)) return;
  pRefChan[ch] = OrIdentity(entry);
  ComputeMainRef(ch);
  ComputeOverall(ch);
}

void Correct::SetCalibration(int on) {
  SetRangeCal(on > 0);
  SetFilterCal(on > 0);
  SetMainrefCal(on > 0);
}

int Correct::Corr_check_freq_precalc() {
  const CORR_FREQUENCY* source = pFreq;
  if (source == &freq) return 0;
  const float hertz = *source;
  if (hertz != freq) Corr_frequency_changed(hertz);
  return 0;
}

void Correct::Corr_frequency_changed(float hertz) {
  freq__2 = hertz * hertz;
  freq__3 = freq__2 * hertz;
  freq = hertz;
  for (const int ch : {0, 1}) {
    ComputeRange(ch);
    ComputeFilter(ch);
    ComputeMainRef(ch);
    ComputeOverall(ch);
  }
}

float Correct::Evaluate(const Dev::poly_coef_union& p) const {
  return p.coef[0] + p.coef[1] * freq + p.coef[2] * freq__2 + p.coef[3] * freq__3;
}

void Correct::Compute(bool calibrated, const mode_range_table_ent& entry, const NoCalibTexts& texts,
                      std::atomic<float>& gain, std::atomic<float>& phase) const {
  if (calibrated) {
    gain = Evaluate(entry.gain);
    phase = Evaluate(entry.phase);
    return;
  }
  gain = 1.0F;
  Q5_LOG_DEBUG(correctionsL, "%s", texts.gain);
  phase = 0.0F;
  Q5_LOG_DEBUG(correctionsL, "%s", texts.phase);
}

void Correct::ComputeRange(int ch) {
  Factors& c = c_factor[ch];
  Compute(rangecal, *pRange[ch], {"rangecal gain no calib\n", "rangecal phase no calib\n"},
          c.gain.meas_ch, c.phase.meas_ch);
}

void Correct::ComputeFilter(int ch) {
  Factors& c = c_factor[ch];
  Compute(filtercal, *pFilter[ch], {"filtercal gain no calib\n", "filtercal phase no calib\n"},
          c.gain.filter, c.phase.filter);
}

void Correct::ComputeMainRef(int ch) {
  Factors& c = c_factor[ch];
  Compute(mainrefcal, *pRefChan[ch], {"mainrefcal gain no calib\n", "mainrefcal phase no calib\n"},
          c.gain.main_ref, c.phase.main_ref);
}

void Correct::ComputeOverall(int ch) {
  f_corr& gain = c_factor[ch].gain;
  gain.overall = gain.meas_ch * gain.filter * gain.main_ref;
  Corr_polynomial_sum(ch);
}

void Correct::Corr_polynomial_sum(int ch) {
  f_corr& phase = c_factor[ch].phase;
  const float channel =
      PhaseAdds(ch) ? phase.meas_ch + phase.filter : -phase.meas_ch - phase.filter;
  const float reference = phase.main_ref;
  const bool adds = Dev::MainRefEEPROM::GetMainRefEEPROM().action_11m != 0;
  phase.overall = adds ? channel + reference : channel - reference;
}

int Correct::Corr_phasors(const phasortoo_t* in, phasortoo_t* out) {
  const int result = Corr_check_freq_precalc();
  if (result != 0) return result;
  for (int ch = 0; ch < 2; ++ch) {
    out[ch].mag = in[ch].mag * static_cast<double>(c_factor[ch].gain.overall);
    out[ch].phase = in[ch].phase + static_cast<double>(c_factor[ch].phase.overall);
  }
  return 0;
}

float Correct::Corr_sample_amplitude(int ch, int sample) const {
  if (!IsChannel(ch)) return 0;
  return static_cast<float>(sample) * pRange[ch].load()->ScalingFactor * c_factor[ch].gain.overall *
         pRefChan[ch].load()->ScalingFactor;
}

}  // namespace acquisition

#include "common/acquisition/sine_correlator.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>

#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"

using Dev::mode_range_table_ent;
using Logger::logger_mgr;
using Logger::sinecorrelatorL;
using Msg::ghmp;

namespace acquisition {
namespace {

constexpr int kDefaultReset = 8192;               ///< pairs
constexpr double kReferenceFrequency = 12500000;  ///< Hz
constexpr long kReferenceDivider = 32;
constexpr int kVlfUnits = 1024;  ///< of settle time in a cycle

/// The entry of a channel that has not been given one.
constexpr mode_range_table_ent kNoEntry{};

}  // namespace

SineCorrelator::SineCorrelator(int filtertype, int resetCount, double refFrequency, long divider,
                               std::int64_t samplesPerCycle, int swapChannels,
                               std::function<void()> on_reset)
    : _filtertype(filtertype),
      _swapchannels(swapChannels),
      on_reset_(std::move(on_reset)),
      _ch1_measurementmode(&kNoEntry),
      _ch2_measurementmode(&kNoEntry) {
  set_frequencies(refFrequency, divider, samplesPerCycle);
  set_autoreset(resetCount < 0 ? kDefaultReset : resetCount);
  SineCorrelator::reset(0);
  SetMeasurementModes();
  Q5_LOG_INFO(sinecorrelatorL,
              "Filter created. 1SAMPLE FREQUENCIES _sample_freq: %f sample_per_cycle: %" PRId64
              "  divider: %ld\n",
              _sample_freq, _samples_per_cycle, divider);
}

// --- Settings ---

void SineCorrelator::set_frequencies(double, long divider, std::int64_t samplesPerCycle) {
  const double signal_freq = ghmp->GetFrequency();
  const platform::Lock lock(updatelock);
  _signal_freq = signal_freq;
  _samples_per_cycle = samplesPerCycle;
  _sample_freq = signal_freq * static_cast<double>(samplesPerCycle);
  // without a frequency the reference does not turn
  _phase_rate = _sample_freq == 0 ? 0 : signal_freq * 2 * std::numbers::pi / _sample_freq;
  Q5_LOG_INFO_HERE(sinecorrelatorL,
                   "%s.%d: signal_freq = %f spc = %" PRId64
                   " divider = %ld sample_freq = %lf phase_rate "
                   "= %lf \n",
                   signal_freq, samplesPerCycle, divider, _sample_freq, _phase_rate);
}

void SineCorrelator::set_autoreset(std::int64_t pairs) {
  const platform::Lock lock(updatelock);
  _nsamples_to_reset = pairs;
}

bool SineCorrelator::CheckValidModes() const {
  const auto valid = [](int mode) { return mode > Msg::Off && mode < Msg::INPUT_MODE_COUNT; };
  return valid(ghmp->measCh1_mode) && valid(ghmp->measCh2_mode);
}

void SineCorrelator::ResetVLFFlag() {
  _VLFflag = false;
  _restartacquisition = true;
}

// --- Resets ---

void SineCorrelator::reset(int) {
  platform::Lock lock(updatelock);
  const std::int64_t samples = _sample_count;
  const short settled = _settletime;
  reset_accumulators();
  const short settles = _settletime;
  lock.Unlock();
  has_result_ = false;
  if (!ghmp->testStart) {
    ended_.cleared = ended_.waiting > 0;
    if (!ended_.cleared) PhasorsReset();
  }
  if (_filtertype != kSlow) return;
  if (on_reset_) on_reset_();
  Logger::Capture(Logger::SINE_CORRELATOR_RESET, samples, settled, settles);
}

void SineCorrelator::ResetWindow() {
  const bool had_result = has_result_;
  reset(0);
  has_result_ = had_result;
}

void SineCorrelator::reset_accumulators() {
  _sample_count = 0;
  _cycle_count = 0;
  _mvavgcount = 0;
  _cacc = {};
  _sacc = {};
  _cycle_avgacc = {};
  _mvavgacc = {};
  _settletime = 0;
}

void SineCorrelator::PhasorsReset() {
  const platform::Lock lock(phasorlock);
  std::ranges::fill(_filter, phasorarr_t{});
  _avgfilter = {};
}

void SineCorrelator::Reinit(std::int64_t samplesPerCycle, std::int64_t resetCount) {
  if (_filtertype == kFast) set_autoreset(resetCount);
  {
    const platform::Lock lock(phasorlock);
    _filterindex = 0;
    _phasorindex = 0;
    std::ranges::fill(_filter, phasorarr_t{});
  }
  set_frequencies(kReferenceFrequency, kReferenceDivider, samplesPerCycle);
  Logger::Capture(Logger::REINIT, samplesPerCycle, _signal_freq.load());
  reset(1);
}

void SineCorrelator::DoSpecialVLFReset() {
  const double fraction = ghmp->vlfresetcyclefraction;
  platform::Lock lock(updatelock);
  const std::int64_t samples = _sample_count;
  const auto due = static_cast<std::int64_t>(static_cast<double>(_samples_per_cycle) * fraction);
  lock.Unlock();
  if (samples < due) return;
  Logger::Capture(Logger::SPECIAL_VLF_RESET, samples);
  reset(1);
  ghmp->vlfreset = true;
}

// --- Counting ---

int SineCorrelator::PairsToNextEnd(int limit) const {
  std::int64_t pairs = limit;
  const std::int64_t cycle_left = _samples_per_cycle - PlaceInCycle();
  if (cycle_left > 0) pairs = std::min(pairs, cycle_left);
  if (_nsamples_to_reset > 0) {
    pairs = std::min(pairs, _nsamples_to_reset - _sample_count % _nsamples_to_reset);
  }
  return static_cast<int>(pairs);
}

bool SineCorrelator::CountPairs(int pairs) {
  _sample_count += pairs;
  if (PlaceInCycle() != _samples_per_cycle) return false;
  _cycle_count += 1;
  ended_.cacc = _cacc;
  ended_.sacc = _sacc;
  ended_.samples = _sample_count;
  ended_.cycle = _cycle_count;
  ended_.waiting += 1;
  ended_.cleared = false;
  return true;
}

bool SineCorrelator::ResetDue() const {
  if (_nsamples_to_reset <= 0) return false;
  return _filtertype == kFast ? _sample_count % _nsamples_to_reset == 0
                              : _sample_count == _nsamples_to_reset;
}

// --- Phasors ---

void SineCorrelator::EndCycle() {
  if (IsLarge() || logger_mgr::LogSamples(sinecorrelatorL, Logger::kDebug)) MakeResult();
}

void SineCorrelator::MakeResult() {
  if (ended_.waiting == 0) return;
  calc_phasors();
  RunMeasurementScaling();
  if (ended_.cleared) PhasorsReset();
  ended_.waiting = 0;
}

const FinishedCycle* SineCorrelator::EndBlock() {
  MakeResult();
  return has_finished_ ? &finished_ : nullptr;
}

void SineCorrelator::calc_phasors() {
  for (int ch = 0; ch < 2; ++ch) {
    const double s = ended_.sacc[ch];
    const double c = ended_.cacc[ch];
    _phase[ch] = s != 0 && c != 0 ? std::atan2(s, c) : 0;
    if (_phase[ch] < 0) _phase[ch] += 2 * std::numbers::pi;
    _mag[ch] = std::sqrt(c * c + s * s) / static_cast<double>(ended_.samples) * std::numbers::sqrt2;
  }
  if (ghmp->testStart && logger_mgr::LogSamples(sinecorrelatorL, Logger::kDebug)) LogPhasors();
}

void SineCorrelator::LogPhasors() const {
  const auto self = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this));
  constexpr double kNoNoiseRatio = 0;  // needs sums that are not made here
  for (int ch = 0; ch < 2; ++ch) {
    Q5_LOG_DEBUG(sinecorrelatorL, "phasor %e this 0x%x mag %e\n", _phase[ch], self, _mag[ch]);
    Q5_LOG_DEBUG(sinecorrelatorL, "%12" PRId64 ": %s cacc[%d]=%e sacc[%d]=%e snr = %lf\n",
                 ended_.samples, TypeText(), ch, ended_.cacc[ch], ch, ended_.sacc[ch],
                 kNoNoiseRatio);
  }
}

void SineCorrelator::StoreResult() {
  phasorarr_t result{};
  result.sample_count = ended_.samples;
  for (int ch = 0; ch < 2; ++ch) {
    result.phase[ch] = _phase[ch];
    result.mag[ch] = _mag[ch];
  }
  {
    const platform::Lock lock(phasorlock);
    _filter[_filterindex] = result;
    _phasorindex = _filterindex;
    _filterindex = 1 - _filterindex;
  }
  ++results_made_;
  finished_.phasors = result;
  finished_.is_result = true;
}

void SineCorrelator::GetPhasors(phasortoo_t* phasors) const {
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) {
    phasors[ch].phase = _filter[_phasorindex].phase[ch];
    phasors[ch].mag = _filter[_phasorindex].mag[ch];
  }
}

// --- Age ---

short SineCorrelator::CalculateSampleCount() const {
  constexpr short kMost = std::numeric_limits<short>::max();
  if (!GetVLFFlag()) return static_cast<short>(std::min<double>(Seconds(), kMost));
  if (_samples_per_cycle <= 0) return 0;
  return static_cast<short>(
      std::min<std::int64_t>(_sample_count * kVlfUnits / _samples_per_cycle, kMost));
}

double SineCorrelator::Seconds() const {
  const double rate = static_cast<double>(_samples_per_cycle) * _signal_freq;
  return rate > 0 ? static_cast<double>(_sample_count) / rate : 0;
}

double SineCorrelator::MonitorSampleCount() const {
  const platform::Lock lock(updatelock);
  return Seconds();
}

std::int64_t SineCorrelator::GetSamplesPerCycle() const {
  const platform::Lock lock(updatelock);
  return _samples_per_cycle;
}

std::int64_t SineCorrelator::GetCycleCount() const {
  const platform::Lock lock(updatelock);
  return _cycle_count;
}

std::int64_t SineCorrelator::GetSampleCount() const {
  const platform::Lock lock(updatelock);
  return _sample_count;
}

short SineCorrelator::GetSettleTime() const {
  const platform::Lock lock(updatelock);
  return _settletime;
}

bool SineCorrelator::IsItTimeToLog(std::int64_t cycle) const {
  // up to this frequency (Hz) one cycle in so many
  static constexpr struct {
    double hertz;
    int cycles;
  } kSteps[] = {{3, 1}, {20, 4}, {100, 32}, {300, 64}, {1000, 128}};
  if (GetVLFFlag()) return true;
  const double hertz = _signal_freq;
  for (const auto& step : kSteps) {
    if (hertz <= step.hertz) return cycle % step.cycles == 0;
  }
  Q5_LOG_DEBUG(sinecorrelatorL, "%s:Could not determine range %f cycle %" PRId64 " \n", __func__,
               hertz, cycle);
  return false;
}

void SineCorrelator::CaptureNewCycleEvent() {
  if (!IsItTimeToLog(ended_.cycle)) return;
  const long counts[] = {static_cast<long>(ended_.cycle), static_cast<long>(ended_.samples)};
  Logger::CaptureData(Logger::SINE_CORRELATOR_NEW_VALUE, counts);
}

}  // namespace acquisition

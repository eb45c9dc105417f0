// How SineCorrelator converts sample counts to volts and amps: range entries, DC averages, peaks.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "common/acquisition/sine_correlator.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/xml/range_tables.h"

using Dev::mode_range_table_ent;
using Msg::ghmp;

namespace acquisition {
namespace {

/// A value above this multiple of the target is not plausible.
constexpr double kUnexpected = 1.15;
constexpr int kPrintEvery = 10;  ///< results
constexpr float kCountsFullScale = 8388607;
constexpr double kNeverLarge = std::numeric_limits<double>::infinity();

}  // namespace

// --- Range entries ---

double SineCorrelator::Scale(int channel) const {
  return (channel == 0 ? _ch1_measurementmode : _ch2_measurementmode).load()->ScalingFactor;
}

int SineCorrelator::SetMeasurementModes() {
  if (!CheckValidModes()) {
    if (ghmp->IsMeasModule()) ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_CHMODES);
    if (ghmp->IsSourceModule()) ghmp->SetErrorCode(Msg::NAK_MCODE_SOS_CHMODES);
    return -1;
  }
  const bool swapped = _swapchannels == 1;
  const int first = swapped ? ghmp->measCh2_mode : ghmp->measCh1_mode;
  const int second = swapped ? ghmp->measCh1_mode : ghmp->measCh2_mode;
  _ch1_measurementmode = Dev::get_range_table_ent(0, first, 1);
  _ch2_measurementmode = Dev::get_range_table_ent(1, second, 1);
  return 0;
}

int SineCorrelator::SetScaleFactors(int channel, int mode, int range) {
  if (channel != 0 && channel != 1) return -1;
  const mode_range_table_ent* entry = Dev::get_range_table_ent(channel, mode, range);
  if (entry == nullptr) return -1;
  (channel == 0 ? _ch1_measurementmode : _ch2_measurementmode) = entry;
  Q5_LOG_INFO_HERE(sinecorrelatorL, "%s.%d: %s ch%d mode %d range %d code %u scale %e\n",
                   TypeText(), channel + 1, mode, range, entry->RangeCode,
                   static_cast<double>(entry->ScalingFactor));
  RecordRanging(channel, entry->FullScale, entry->RangeCode, entry->ScalingFactor);
  return 0;
}

int SineCorrelator::SetScaleFactorsNonRange(int channel, int mode, float scale) {
  if (channel != 0 && channel != 1) return -1;
  Q5_LOG_INFO_HERE(sinecorrelatorL, "%s.%d: %s ch%d mode %d scale %e\n", TypeText(), channel + 1,
                   mode, static_cast<double>(scale));
  RecordRanging(channel, scale * kCountsFullScale, 0, scale);
  return 0;
}

void SineCorrelator::RecordRanging(int channel, float fullscale, unsigned code, float scale) const {
  static constexpr Logger::eventtypes_t kEvents[2][2] = {
      {Logger::MEASUREMENT_RANGING_SLOW, Logger::MEASUREMENT_RANGING_FAST},
      {Logger::SOURCE_RANGING_SLOW, Logger::SOURCE_RANGING_FAST}};
  ghmp->SetRangingInfo(channel, fullscale);
  const Logger::evseqdataF_t words{
      3, {static_cast<float>(channel + 1), static_cast<float>(code), scale}};
  Logger::CaptureData(kEvents[ghmp->IsSourceModule() ? 1 : 0][_filtertype == kFast ? 1 : 0],
                      &words);
}

// --- A cycle's phasors ---

// A divider stands before the AC input only; without one the factor is 1.
double SineCorrelator::Lead(int channel) const {
  const int mode = channel == 0 ? ghmp->measCh1_mode : ghmp->measCh2_mode;
  if (!ghmp->IsInternalHVVoltageTest() && mode != Msg::AC_Volt) return 1;
  if (HasSecondLead(channel)) return ghmp->GetHV2MeasScaleFactor();
  return channel == VoltageChannel() ? ghmp->GetHVMeasScaleFactor() : 1;
}

bool SineCorrelator::HasSecondLead(int channel) const {
  return channel == 1 && _swapchannels != 1 && ghmp->IsTTRTest();
}

double SineCorrelator::TotalScale(int channel) const { return Scale(channel) * Lead(channel); }

// An external source differs in the scale only; the input's range decides.
void SineCorrelator::RunMeasurementScaling() {
  for (int ch = 0; ch < 2; ++ch) _mag[ch] *= TotalScale(ch);
  if (HasSecondLead(1)) {
    Q5_LOG_DEBUG(sinecorrelatorL, "hv2 scalefactor %f mag[1] %lg\n",
                 double{ghmp->GetHV2MeasScaleFactor()}, _mag[1]);
  }
  if (!ghmp->GetConsumerFlag()) StoreResult();
  const int before = printresult;
  printresult += ended_.waiting;
  if (printresult / kPrintEvery != before / kPrintEvery) {
    Q5_LOG_DEBUG(sinecorrelatorL, "%s _mag[0] %lg ch1 scale %lg _mag[1] %lg ch2 scale %lg \n",
                 TypeText(), _mag[0], Scale(0), _mag[1], Scale(1));
  }
  has_finished_ = true;
  CheckPlausible();
}

double SineCorrelator::Expected() const {
  const double volts = ghmp->volttarget;
  const double amps = ghmp->ampmax;
  return ghmp->VoltageTest() && volts > 0 ? volts : amps;
}

// Each cycle is compared with the target as a square, which needs no root.
void SineCorrelator::BeginBlock() {
  ++blocks_begun_;
  has_finished_ = false;
  finished_ = {};
  const double expected = ghmp->testStart ? Expected() : 0;
  const double scale = TotalScale(VoltageChannel()) * std::numbers::sqrt2;
  const double large = expected * kUnexpected / scale;
  large_squared_ = expected > 0 && scale > 0 ? large * large : kNeverLarge;
}

bool SineCorrelator::IsLarge() const {
  const int ch = VoltageChannel();
  const double c = ended_.cacc[ch];
  const double s = ended_.sacc[ch];
  const auto samples = static_cast<double>(ended_.samples);
  return c * c + s * s > large_squared_ * samples * samples;
}

void SineCorrelator::CheckPlausible() {
  const double magnitude = _mag[VoltageChannel()];
  const double expected = Expected();
  if (expected > 0 && magnitude > expected * kUnexpected && ghmp->testStart) {
    finished_.unexpected = magnitude;
  }
}

// --- DC ---

double SineCorrelator::MovingAverage(int channel, double average) {
  double& oldest = _mvavgbuff[channel][_mvavgcount % kMovingAverage];
  if (_mvavgcount >= kMovingAverage) _mvavgacc[channel] -= oldest;
  oldest = average;
  _mvavgacc[channel] += average;
  return _mvavgacc[channel] /
         static_cast<double>(std::min<std::int64_t>(_mvavgcount + 1, kMovingAverage));
}

void SineCorrelator::updateDC(const PairFigures& figures, bool smooth) {
  std::array<double, 2> averages{};
  for (int ch = 0; ch < 2; ++ch) averages[ch] = static_cast<double>(figures[ch].avg_sample);
  if (smooth) {
    const platform::Lock lock(updatelock);
    for (int ch = 0; ch < 2; ++ch) averages[ch] = MovingAverage(ch, averages[ch]);
    ++_mvavgcount;
  }
  RunMeasurementScalingDC(averages);
  {
    const platform::Lock lock(phasorlock);
    _avgfilter = averages;
  }
  ++averages_made_;
  const platform::Lock lock(updatelock);
  _settletime = CalculateSampleCount();
}

void SineCorrelator::RunMeasurementScalingDC(std::array<double, 2>& averages) const {
  for (int ch = 0; ch < 2; ++ch) averages[ch] *= Scale(ch);
  if (!ghmp->testStart) return;
  const double volts = averages[VoltageChannel()];
  const double amps = averages[1 - VoltageChannel()];
  if (ghmp->VoltageTest() && ghmp->volttarget > 0) {
    if (volts > ghmp->volttarget * kUnexpected) {
      Q5_LOG_WARNING(sinecorrelatorL, "Voltage unexpected %e \n", volts);
    }
  } else if (ghmp->ampmax > 0 && amps > ghmp->ampmax * kUnexpected) {
    Q5_LOG_WARNING(sinecorrelatorL, "Amperage unexpected %e \n", amps);
  }
}

// --- Readings for others ---

void SineCorrelator::CalculateMaxVoltage(const PairFigures& figures) {
  const int ch = VoltageChannel();
  double peak = static_cast<double>(figures[ch].max_amplitude) * Scale(ch);
  if (ghmp->IsInternalHVVoltageTest()) peak *= static_cast<double>(ghmp->GetHVScaleFactor());
  _maxvoltage = peak;
}

void SineCorrelator::TakeFigures(const PairFigures& figures) {
  const platform::Lock lock(phasorlock);
  figures_ = figures;
}

void SineCorrelator::GetAvgPhasors(phasortoo_t* phasors) const {
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) {
    phasors[ch].mag = _avgfilter[ch];
    phasors[ch].phase = 0;
  }
}

double SineCorrelator::BlockAverage(int channel) const {
  return static_cast<double>(figures_[channel].avg_sample) * Scale(channel);
}

void SineCorrelator::GetAvgs(phasortoo_t* averages) const {
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) averages[ch].mag = BlockAverage(ch);
}

void SineCorrelator::calc_std_dev(double* deviations) const {
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) deviations[ch] = std::sqrt(figures_[ch].variance) * Scale(ch);
}

void SineCorrelator::StoreOffsetPhasors() {
  std::array<double, 2> offsets{};
  if (_filtertype == kFast) {
    const platform::Lock lock(phasorlock);
    offsets = {BlockAverage(0), BlockAverage(1)};
  } else {
    const platform::Lock lock(updatelock);
    const auto samples = static_cast<double>(std::max<std::int64_t>(_sample_count, 1));
    for (int ch = 0; ch < 2; ++ch) offsets[ch] = _cycle_avgacc[ch] / samples * Scale(ch);
  }
  Q5_LOG_INFO_HERE(sinecorrelatorL, "%s.%d %s residual dc offset ch1 %f ch2 %f \n", TypeText(),
                   offsets[0], offsets[1]);
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) offset_phasors[ch].mag = offsets[ch];
}

void SineCorrelator::GetOffsetPhasors(phasortoo_t* offsets) const {
  const platform::Lock lock(phasorlock);
  for (int ch = 0; ch < 2; ++ch) offsets[ch].mag = offset_phasors[ch].mag;
}

void SineCorrelator::ClearOffsetPhasors() {
  const platform::Lock lock(phasorlock);
  for (auto& offset : offset_phasors) offset.mag = 0;
}

}  // namespace acquisition

#include "common/acquisition/averager.h"

#include <algorithm>

#include "common/log/log_line.h"
#include "common/xml/range_tables.h"

namespace acquisition {

Averager::Averager(std::int64_t samplesPerCycle, int swapChannels, int modeCh1, int modeCh2,
                   int rangeCh1, int rangeCh2)
    : _samples_per_cycle(samplesPerCycle), _swapchannels(swapChannels) {
  SetChannelModes(modeCh1, modeCh2, rangeCh1, rangeCh2);
}

int Averager::SetChannelModes(int mode1, int mode2, int range1, int range2) {
  const platform::Lock lock(averagelock_);
  _modech1 = mode1;
  _modech2 = mode2;
  _rangech1 = range1;
  _rangech2 = range2;
  return GetScaleFactors();
}

int Averager::GetScaleFactors() {
  const bool swapped = _swapchannels == 1;
  const auto* first =
      Dev::get_range_table_ent(0, swapped ? _modech2 : _modech1, swapped ? _rangech2 : _rangech1);
  const auto* second =
      Dev::get_range_table_ent(1, swapped ? _modech1 : _modech2, swapped ? _rangech1 : _rangech2);
  if (first == nullptr) {
    Q5_LOG_ERROR(averagerL, "Get range entry FAILED modech1 %d rangech1 %d \n", _modech1,
                 _rangech1);
  } else {
    _ch1_measurementmode = first;
  }
  if (second == nullptr) {
    Q5_LOG_ERROR(averagerL, "Get range entry FAILED modech2 %d rangech2 %d \n", _modech2,
                 _rangech2);
  } else {
    _ch2_measurementmode = second;
  }
  return first == nullptr || second == nullptr ? -1 : 0;
}

void Averager::update(const PairFigures& figures, const std::array<double, 2>& scales) {
  for (int ch = 0; ch < 2; ++ch) {
    _avg[ch] = static_cast<double>(figures[ch].avg_sample) * scales[ch];
  }
  StoreResult();
}

void Averager::StoreResult() {
  const platform::Lock lock(averagelock_);
  std::ranges::copy(_avg, _avgfilter[_filterindex]);
  _filterindex = 1 - _filterindex;
}

void Averager::GetPhasors(double* averages) const {
  const platform::Lock lock(averagelock_);
  std::ranges::copy(_avgfilter[1 - _filterindex], averages);
}

}  // namespace acquisition

#include "mos/instrument/channel_filters.h"

#include <algorithm>

#include "common/acquisition/correct.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/filter_selection.h"
#include "common/xml/range_tables.h"

namespace Mos {

using Dev::MeasChCfgReg;
using Msg::ghmp;

namespace {

/// The configurations of a kind of test, before a filter is chosen; both null for an unknown kind.
struct Bases {
  const MeasChCfgReg* channel1 = nullptr;
  const MeasChCfgReg* channel2 = nullptr;
};

Bases BasesOfTest(float frequency) {
  if (ghmp->IsDFRTest()) return {&Dev::cfg03_filter, &Dev::cfg04_filter};
  if (ghmp->IsTTRTest()) return {&Dev::cfg03_filter, &Dev::cfg03_filter};
  const auto hertz = static_cast<double>(frequency);
  if (ghmp->IsDCTest()) {
    Q5_LOG_INFO(measurementL, "Contact resistance filter set for freq %f \n", hertz);
    return {&Dev::cfg05_filter, &Dev::cfg04_filter};
  }
  Q5_LOG_ERROR(measurementL, "Could not select the filter freq %f \n", hertz);
  return {};
}

}  // namespace

int ChannelFilters::SelectFilter(float frequency, bool exec_sequence1) {
  const Bases bases = BasesOfTest(frequency);
  int filters[2] = {};
  int results[2] = {};
  for (int channel : {0, 1}) {
    const MeasChCfgReg* base = channel == 0 ? bases.channel1 : bases.channel2;
    if (base != nullptr) {
      const MeasChCfgReg config =
          signalh::SelectFilter(*base, *ghmp, frequency, channels_.GetRevision());
      filters[channel] = config.GetFilter();
      results[channel] = channels_.SetMeasChCfgReg(channel, config, exec_sequence1);
    }
    CorrectForFilter(channel, filters[channel]);
  }
  Logger::Capture(Logger::MEASFILTERS, filters[0], filters[1]);
  for (int channel : {0, 1}) ghmp->SetFilter(channel, static_cast<short>(filters[channel]));
  Q5_LOG_INFO(measurementL, "%s::%s filter1 %d filter2 %d ch1 %d ch2 %d seq1:%d\n", "Mos::MeasMgr",
              __func__, filters[0], filters[1], results[0], results[1], exec_sequence1 ? 1 : 0);
  return std::min(results[0], results[1]);
}

void ChannelFilters::CorrectForFilter(int channel, int filter) {
  acquisition::Correct::GetCorrect().Corr_set_filter(channel, Dev::FilterEntry(channel, filter));
}

}  // namespace Mos

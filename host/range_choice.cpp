#include "host/range_choice.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/ranges.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kQuick{300};
constexpr double kVoltsPerKilovolt = 1000;
constexpr double kMargin = 2;
/// Share of a range's full scale below which its noise may be all that it shows.
constexpr double kResolved = 1e-5;

struct Other {
  int mode;
  int& range;
};

// A current in a voltage test, a voltage in a current test.
Other OtherOf(MeasurementPlan& plan) {
  if (plan.current) return {ChannelMode(plan.source, 1), plan.voltage_range};
  return {ChannelMode(plan.source, 2), plan.current_range};
}

double PeakOf(const MeasurementPlan& plan, const MeasurementResult& result) {
  const double rms = plan.current ? kVoltsPerKilovolt * double{result.record.acfcvolt}
                                  : double{result.record.acamps};
  return std::abs(rms) * std::numbers::sqrt2;
}

}  // namespace

bool LeavesRangeOpen(const MeasurementPlan& plan) {
  if (plan.dc) return false;
  return plan.current ? plan.voltage_range == 0 && ChannelMode(plan.source, 1) == Msg::AC_Volt
                      : plan.current_range == 0 && ChannelMode(plan.source, 2) == Msg::ACDC_Current;
}

void BeginRange(MeasurementPlan& plan, const MeasurementResult* before) {
  const Other other = OtherOf(plan);
  other.range = 1;
  if (before == nullptr || !(before->record.frequen > 0)) return;
  const double ratio = double{plan.frequency} / double{before->record.frequen};
  other.range = RangeFor(other.mode, kMargin * PeakOf(plan, *before) * std::max(ratio, 1 / ratio));
}

bool ChooseRange(MeasurementRun& run, MeasurementPlan& plan, const MeasurementTiming& timing) {
  const Other other = OtherOf(plan);
  MeasurementTiming quick = timing;
  quick.settle = std::min<Duration>(timing.settle, kQuick);
  quick.interval = std::min<Duration>(timing.interval, kQuick / 3);
  quick = quick.For(plan.frequency);
  int most_sensitive = static_cast<int>(FullScales(other.mode).size());
  for (;;) {
    bool exceeds = false;
    if (!run.Look(quick, exceeds)) return false;
    int wanted = other.range - 1;
    if (exceeds) {
      most_sensitive = wanted;
    } else {
      MeasurementResult result;
      if (!run.Poll(Msg::MSG6_RSLTYPE_FIR_FAST, result)) return false;
      const double full = FullScales(other.mode)[static_cast<std::size_t>(other.range - 1)];
      const double peak = std::max(PeakOf(plan, result), full * kResolved);
      wanted = std::min(RangeFor(other.mode, peak), most_sensitive);
    }
    // the least sensitive one has to do, and the settling after this says whether it does
    if (wanted < 1 || wanted == other.range) return true;
    other.range = wanted;
    if (!run.Update(plan)) return false;
  }
}

}  // namespace host

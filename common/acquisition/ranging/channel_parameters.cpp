#include "common/acquisition/ranging/channel_parameters.h"

#include <numbers>

namespace AcquisitionSystem {
namespace {

bool IsCurrent(int mode) { return mode == Msg::ACDC_Current; }

int HostRange(const Msg::HMPData& test, int mode) {
  const bool current_test = test.CurrentTest();
  if (IsCurrent(mode)) return current_test ? test.ampscal : test.curange;
  return current_test ? test.voltrange : test.voltscal;
}

double TargetPeak(const Msg::HMPData& test, ACQ_CHAN_NUM ch, int mode) {
  const bool current = IsCurrent(mode);
  if (current != test.CurrentTest()) return 0;
  double level = current ? test.ampmax : test.volttarget;
  if (test.IsInternalHVVoltageTest() || mode == Msg::AC_Volt) {
    const double lead = ch == ACQ_CH2 ? test.GetHV2MeasScaleFactor() : test.GetHVMeasScaleFactor();
    if (lead > 0) level /= lead;
  }
  return test.IsDCTest() ? level : level * std::numbers::sqrt2;
}

}  // namespace

ChannelParameters ParametersOf(const Msg::HMPData& test, ACQ_CHAN_NUM ch, int mode) {
  return {.mode = mode,
          .range = HostRange(test, mode),
          .peak = TargetPeak(test, ch, mode),
          .filters = {test.GetFilter(0), test.GetFilter(1)},
          .is_very_slow = test.IsVLFTest()};
}

}  // namespace AcquisitionSystem

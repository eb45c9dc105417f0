#include "mos/instrument/voltage_watch.h"

#include "common/acquisition/ranging/channel_enums.h"

namespace Mos {

namespace {

/// Long enough for a change of range or target, since the status stays until a whole cycle was
/// good.
constexpr int kFewestLooksBeyond = 15;
constexpr double kCyclesBeyond = 4;

}  // namespace

bool VoltageWatch::IsTooHigh(const Look& look, double limit) {
  const bool is_new = look.results != results_;
  results_ = look.results;
  if (look.scaled && is_new && look.volts >= limit) return true;
  const bool beyond = (look.status & AcquisitionSystem::Amplitude_exceeds_input_range) != 0;
  looks_beyond_ = beyond && look.own_range ? looks_beyond_ + 1 : 0;
  const double cycles = look.hertz > 0 ? kCyclesBeyond / look.hertz / kPeriod : 0;
  return looks_beyond_ > kFewestLooksBeyond + cycles;
}

}  // namespace Mos

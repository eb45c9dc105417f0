#include "simulator/meas_channel_board.h"

namespace simulator {
namespace {

constexpr unsigned kModeShift = 5;
constexpr unsigned kModeMask = 7;
constexpr unsigned kFilterShift = 8;
constexpr unsigned kFilterMask = 15;
constexpr unsigned kPowerShift = 23;

}  // namespace

FrontEnd MeasChannelBoard::Settings() const {
  const MeasCpld::Settings cpld = cpld_.Read();
  FrontEnd front_end;
  const unsigned mode = cpld.config >> kModeShift & kModeMask;
  if (mode < kInputModes) front_end.mode = static_cast<InputMode>(mode);
  front_end.filter = static_cast<int>(cpld.config >> kFilterShift & kFilterMask);
  front_end.range_code = cpld.range_code;
  front_end.test_mode = cpld.test_mode;
  front_end.safe = cpld.safe;
  front_end.busy = cpld.busy;
  front_end.busy_until = cpld.busy_until;
  front_end.powered = (cpld.config >> kPowerShift & 1U) != 0;
  for (std::size_t i = 0; i < kOffsetDacs; ++i) front_end.dac[i] = dacs_[i];
  return front_end;
}

}  // namespace simulator

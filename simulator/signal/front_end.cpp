#include "simulator/signal/front_end.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace simulator {
namespace {

constexpr double kCentre = 0x8000;
/// Of a front end's least sensitive range: the input's noise against the ADC's.
constexpr double kInputNoise = 0.05;

Quantity SeenBy(InputMode mode) {
  switch (mode) {
    case InputMode::kOff:
      return Quantity::kNothing;
    case InputMode::kAcdcCurrent:
    case InputMode::kDcir:
      return Quantity::kCurrent;
    case InputMode::kAcVolt:
    case InputMode::kDcVolt:
      return Quantity::kVoltage;
  }
  return Quantity::kNothing;
}

/// How much more sensitive a range is than the first one of its front end.
double Gain(const ChannelHardware& hardware, InputMode mode, const RangeHardware& range) {
  constexpr std::uint8_t kFrontEnd = 0xE3;
  double largest = range.full_scale;
  for (const RangeHardware& other : hardware.ranges[static_cast<std::size_t>(mode)]) {
    const bool same = ((other.code ^ range.code) & kFrontEnd) == 0;
    if (same) largest = std::max(largest, other.full_scale);
  }
  return largest / range.full_scale;
}

}  // namespace

FrontEndResponse::FrontEndResponse(const FrontEnd& settings, const ChannelHardware& hardware)
    : hardware_(&hardware), settings_(settings) {
  if (!settings.powered) return;
  const auto filter = static_cast<std::size_t>(settings.filter);
  if (filter < hardware.filters.size() && hardware.filters[filter].corner_hz > 0) {
    time_constant_ = 1 / (2 * std::numbers::pi * hardware.filters[filter].corner_hz);
  }
  const auto tested = std::ranges::find(hardware.test_modes, settings.test_mode, &DcTestMode::mode);
  if (settings.test_mode != 0 && tested != hardware.test_modes.end()) {
    offset_ = tested->offset + (settings.dac.at(tested->dac) - kCentre) / tested->dac_per_count;
    return;
  }
  const auto range = hardware.Range(settings.mode, settings.range_code);
  if (!range) return;
  offset_ = range->offset - (settings.dac[0] - kCentre) / range->dac_per_count;
  noise_factor_ = std::hypot(1, kInputNoise * (Gain(hardware, settings.mode, *range) - 1));
  if (!settings.safe) sees_ = SeenBy(settings.mode);
}

std::complex<double> FrontEndResponse::At(double hertz) const {
  if (sees_ == Quantity::kNothing) return 0;
  return hardware_->Response(settings_.mode, settings_.range_code, settings_.filter, hertz);
}

}  // namespace simulator

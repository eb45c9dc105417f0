#include "host/ranges.h"

#include <fmt/format.h>

namespace host {
namespace {

constexpr double kAmperes[] = {75, 7.5, 0.75, 0.075, 7.5e-3, 7.5e-4, 7.5e-5, 7.5e-6, 7.5e-7};
constexpr double kAcVolts[] = {750, 75, 7.5, 0.75, 0.075, 0.0075};
constexpr double kDcVolts[] = {2.5, 0.25, 0.025, 0.0025, 0.00025};

/// Leaves room for noise, and for the offset that the most sensitive ranges have.
constexpr double kHeadroom = 1.6;

/// More sensitive ranges are out of range by their offset alone.
constexpr double kLeastFullScale = 7.5e-5;

std::string Shown(double value, const char* unit) {
  if (value >= 1) return fmt::format("{:g} {}", value, unit);
  if (value >= 1e-3) return fmt::format("{:g} m{}", value * 1e3, unit);
  if (value >= 1e-6) return fmt::format("{:g} u{}", value * 1e6, unit);
  return fmt::format("{:g} n{}", value * 1e9, unit);
}

}  // namespace

std::span<const double> FullScales(int mode) {
  switch (mode) {
    case Msg::ACDC_Current:
      return kAmperes;
    case Msg::AC_Volt:
      return kAcVolts;
    case Msg::DC_Volt:
      return kDcVolts;
    default:
      return {};
  }
}

std::string RangesText(int mode) {
  std::string text;
  int index = 0;
  for (const double full : FullScales(mode)) {
    text += fmt::format("{}{}: {}", index == 0 ? "" : ", ", index + 1,
                        Shown(full, mode == Msg::ACDC_Current ? "A" : "V"));
    ++index;
  }
  return text;
}

int RangeFor(int mode, double peak) {
  int range = 1;
  int index = 0;
  for (const double full : FullScales(mode)) {
    ++index;
    if (full > peak * kHeadroom && full >= kLeastFullScale) range = index;
  }
  return range;
}

}  // namespace host

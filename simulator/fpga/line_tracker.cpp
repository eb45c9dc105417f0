#include "simulator/fpga/line_tracker.h"

#include <algorithm>
#include <cmath>

namespace simulator::fpga {
namespace {

constexpr double kUnitsPerCycle = 65536;

std::int16_t Units(double cycles) {
  return static_cast<std::int16_t>(
      std::clamp(std::round(cycles * kUnitsPerCycle), -32768.0, 32767.0));
}

}  // namespace

double LineTracker::Drift() const {
  if (settings_.line_hertz <= 0) return 0;
  return 1 - settings_.waveform_hertz / settings_.line_hertz;
}

double LineTracker::Pull() const {
  if (!settings_.on || settings_.line_hertz <= 0) return 0;
  return settings_.most_pulses / settings_.clocks_per_cycle / settings_.interval;
}

void LineTracker::Advance(platform::Nanoseconds now) {
  const double cycles = std::chrono::duration<double>(now - now_).count() * settings_.line_hertz;
  now_ = now;
  if (cycles <= 0) return;
  const double before = offset_;
  const double free = offset_ + Drift() * cycles;
  const double correction = std::min(std::abs(free), Pull() * cycles);
  const double held = free - std::copysign(correction, free);
  delta_ = (held - before) / cycles;
  offset_ = held - std::round(held);
}

bool LineTracker::IsLocked() const {
  return settings_.on && settings_.line_hertz > 0 && settings_.waveform_hertz > 0 &&
         std::abs(Drift()) <= Pull() && std::abs(offset_) * kUnitsPerCycle <= settings_.threshold;
}

std::int16_t LineTracker::Offset() const { return Units(offset_); }

std::int16_t LineTracker::Delta() const { return Units(delta_); }

std::uint16_t LineTracker::Pulses() const {
  if (!settings_.on || Pull() <= 0) return 0;
  const double needed = offset_ == 0 ? std::abs(Drift()) / Pull() : 1;
  return static_cast<std::uint16_t>(std::ceil(std::min(needed, 1.0) * settings_.most_pulses));
}

}  // namespace simulator::fpga

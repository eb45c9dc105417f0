#include "simulator/fpga/ramp_engine.h"

#include <algorithm>

#include "simulator/fpga/registers.h"

namespace simulator::fpga {
namespace {

/// Beyond this many steps every ramp has come to its end.
constexpr std::uint64_t kMostSteps = 0x10000;

bool SameInterval(const RampSettings& a, const RampSettings& b) {
  return a.mode == b.mode && a.update_rate == b.update_rate && a.timer == b.timer;
}

}  // namespace

std::uint64_t RampEngine::StepsDue(platform::Nanoseconds now, std::uint64_t cycles) const {
  if (settings_.mode == RampMode::kTimer) {
    const auto interval = kTimerUnit * std::max<int>(settings_.timer, 1);
    return static_cast<std::uint64_t>((now - started_) / interval);
  }
  const std::uint64_t passed = cycles - std::min(cycles, started_cycles_);
  return passed / (std::uint64_t{settings_.update_rate} + 1);
}

void RampEngine::Advance(platform::Nanoseconds now, std::uint64_t cycles) {
  if (!settings_.running) return;
  const std::uint64_t due = StepsDue(now, cycles);
  if (due > steps_done_) Move(std::min(due - steps_done_, kMostSteps));
  steps_done_ = due;
}

void RampEngine::Move(std::uint64_t steps) {
  std::int64_t end = 0;
  std::int64_t step = settings_.step_down;
  if (settings_.mode == RampMode::kManual) {
    end = settings_.manual;
    step = kAll;
  } else if (settings_.mode == RampMode::kHeld) {
    return;
  } else if (settings_.up) {
    end = settings_.target;
    step = settings_.step_up;
  }
  const std::int64_t farthest = step * static_cast<std::int64_t>(steps);
  const std::int64_t way = std::clamp(end - multiplier_, -farthest, farthest);
  multiplier_ =
      static_cast<std::uint16_t>(std::min<std::int64_t>(multiplier_ + way, settings_.hard_limit));
}

void RampEngine::Configure(const RampSettings& settings, platform::Nanoseconds now,
                           std::uint64_t cycles) {
  if (!settings_.running || !SameInterval(settings, settings_)) {
    started_ = now;
    started_cycles_ = cycles;
    steps_done_ = 0;
  }
  settings_ = settings;
  multiplier_ =
      settings_.waveform_on ? std::min(multiplier_, settings_.hard_limit) : std::uint16_t{0};
}

std::uint16_t RampEngine::Status() const {
  const bool at_zero = multiplier_ == 0;
  const bool at_target = settings_.up && multiplier_ == settings_.target;
  const bool arrived = settings_.up ? at_target : at_zero;
  return static_cast<std::uint16_t>((at_zero ? kRampAtZero : 0) | (at_target ? kRampAtTarget : 0) |
                                    (settings_.running && !arrived ? kRampBusy : 0));
}

}  // namespace simulator::fpga

// The multiplier of the waveform's amplitude and the engine that ramps it.
//
//   cycle   every (update rate + 1) waveform cycles it moves by one step
//   timer   every timer x 5 ms it moves by one step
//   manual  at the end of (update rate + 1) waveform cycles it takes the manual value
//
// Up means towards the target, from either side, with the step for up; down means to zero, with the
// step for down. The hard limit bounds the multiplier at any time. Without a waveform it is zero.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace simulator::fpga {

enum class RampMode : std::uint8_t { kCycle, kTimer, kManual, kHeld };

struct RampSettings {
  RampMode mode = RampMode::kCycle;
  bool up = false;
  bool running = false;
  bool waveform_on = false;
  std::uint16_t target = 0;
  std::uint16_t step_up = 0;
  std::uint16_t step_down = 0;
  std::uint16_t update_rate = 0;
  std::uint16_t manual = 0;
  std::uint16_t timer = 0;  ///< units of 5 ms; 0 counts as 1
  std::uint16_t hard_limit = 0;

  friend bool operator==(const RampSettings&, const RampSettings&) = default;
};

/// Threads: one at a time.
class RampEngine {
 public:
  static constexpr platform::Nanoseconds kTimerUnit = std::chrono::milliseconds(5);

  /// Continues to `now` with the settings as they are; `cycles` have ended by then.
  void Advance(platform::Nanoseconds now, std::uint64_t cycles);
  /// Takes effect at `now`. The interval to the next step begins again when the engine begins to
  /// run or the length of the interval changes.
  void Configure(const RampSettings& settings, platform::Nanoseconds now, std::uint64_t cycles);

  std::uint16_t Multiplier() const { return multiplier_; }
  /// The status bits of the ramp control register.
  std::uint16_t Status() const;

 private:
  std::uint64_t StepsDue(platform::Nanoseconds now, std::uint64_t cycles) const;
  void Move(std::uint64_t steps);

  RampSettings settings_;
  std::uint16_t multiplier_ = 0;
  platform::Nanoseconds started_{0};
  std::uint64_t started_cycles_ = 0;
  std::uint64_t steps_done_ = 0;
};

}  // namespace simulator::fpga

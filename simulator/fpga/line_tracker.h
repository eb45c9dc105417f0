// Keeps the waveform's phase on the line's by adding and dropping clocks of the waveform generator.
//
// Once every `interval` line cycles it may send up to `most_pulses` pulses, each of which moves the
// waveform by one clock of its generator. So it holds a waveform whose frequency is off by no more
// than most_pulses x (clock's share of a cycle) / interval, and locks once the offset is within the
// threshold. Offsets are in 1/65536 of a cycle, the waveform being late where they are positive.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace simulator::fpga {

struct TrackerSettings {
  bool on = false;  ///< tracker, waveform and its synchronisation
  unsigned interval = 2;
  unsigned most_pulses = 0;
  unsigned threshold = 0;
  double line_hertz = 0;
  double waveform_hertz = 0;
  double clocks_per_cycle = 1;
};

/// Threads: one at a time.
class LineTracker {
 public:
  /// Continues to `now` with the settings of the last Configure.
  void Advance(platform::Nanoseconds now);
  void Configure(const TrackerSettings& settings) { settings_ = settings; }

  bool IsLocked() const;
  std::int16_t Offset() const;
  /// Change of the offset over one line cycle.
  std::int16_t Delta() const;
  /// Pulses given each interval.
  std::uint16_t Pulses() const;

 private:
  double Drift() const;  ///< cycles that the waveform falls behind in each line cycle, by itself
  double Pull() const;   ///< the most that the tracker makes good in each line cycle

  TrackerSettings settings_;
  platform::Nanoseconds now_{0};
  double offset_ = 0;  ///< cycles, -0.5 to 0.5
  double delta_ = 0;   ///< cycles in each line cycle
};

}  // namespace simulator::fpga

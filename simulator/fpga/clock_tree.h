// The clocks that the FPGA makes: a source chosen by the clock select word, and power-of-2 dividers
// behind it for the converters and for the waveform generator.
//
// Value: clock.remote, the converter clock that the other module sends: hertz as a whole number,
// "off", or "same": that module is set to the same plan as this one.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/thread_safety.h"
#include "simulator/fraction.h"
#include "simulator/i2c/si5338.h"
#include "simulator/units.h"

namespace simulator::fpga {

/// In hertz; nothing where no clock comes.
struct Clocks {
  std::optional<Fraction> source;     ///< the oscillator or the clock chip's output 0
  std::optional<Fraction> converter;  ///< master clock of both converters
  std::optional<Fraction> waveform;   ///< 16 of it are one waveform sample
};

/// Threads: any.
class ClockTree {
 public:
  static constexpr std::uint64_t kOscillatorHertz = 25000000;
  static constexpr unsigned kClocksPerWaveformSample = 16;

  /// `chip` is null on a module without one and outlives the tree.
  ClockTree(const Si5338* chip, Units& units);

  Clocks Make(std::uint16_t clock_select) const;

 private:
  const Si5338* chip_;
  mutable platform::Mutex remote_mutex_;
  bool remote_same_ Q5_GUARDED_BY(remote_mutex_) = true;
  std::optional<std::uint64_t> remote_hertz_ Q5_GUARDED_BY(remote_mutex_);
};

}  // namespace simulator::fpga

// The waveform generator behind its registers: cycles, polarity and the amplitude multiplier.
//
// A cycle here is what the cycle length register says, also in high-speed mode, where the wave in
// the driver's memory is longer than that.
#pragma once

#include "simulator/fpga/cycle_counter.h"
#include "simulator/fpga/ramp_engine.h"
#include "simulator/register_file.h"

namespace simulator::fpga {

/// Threads: one at a time. `registers` outlives it.
class WaveformGenerator {
 public:
  explicit WaveformGenerator(RegisterFile& registers) : registers_(registers) {}

  /// Continues to `now` as it was configured, and shows it in the status registers.
  void Advance(platform::Nanoseconds now);
  /// Takes over what the registers say, and how many waveform samples a second there are.
  void Configure(platform::Nanoseconds now, double samples_per_second);

  std::uint16_t Multiplier() const { return ramp_.Multiplier(); }
  bool IsNegative() const { return negative_; }
  /// Cycles a second; 0 while nothing is generated.
  double CycleHertz() const { return cycles_.Hertz(); }

 private:
  void Show();

  RegisterFile& registers_;
  CycleCounter cycles_;
  RampEngine ramp_;
  bool on_ = false;
  bool negative_ = false;  ///< plays the second buffer
  bool wanted_ = false;
  std::uint64_t wanted_since_ = 0;  ///< cycles ended when the polarity was asked for
};

}  // namespace simulator::fpga

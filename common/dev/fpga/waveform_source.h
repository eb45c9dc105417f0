// The source memory of the FPGA's waveform generator, and the generator's control word.
//
// The generator reads signed 16-bit samples, cycle after cycle. In normal mode there are two
// buffers of 4 to 4096 samples; in high-speed mode one cycle of 262144 samples, for a sine with a
// swept run-in before it when the driver can play one.
//
// Results: 0, or a negative value. All use FpgaDev::GetDevice(). Threads: one caller at a time,
// while no waveform is generated. The calls remember the contents of the memory.
#pragma once

#include <cstdint>

namespace Dev {

/// Samples per cycle that select the high-speed mode.
inline constexpr int kHighSpeedSamples = 0x40000;
/// Samples per cycle of the normal mode, a power of 2.
inline constexpr unsigned kMinWaveformSamples = 4;
inline constexpr int kMaxWaveformSamples = 4096;

/// `wf_signal_type`
enum WaveformSignal : int {
  kSineSignal = 0,
  kPositiveDcSignal = 1,
  kNegativeDcSignal = 2,  ///< in high-speed mode: a chirp
  kSweepSignal = 3,       ///< in high-speed mode only
};

/// -34 for a refused size, -1 without a device. A memory that cannot be written is only logged,
/// because the clocks that wait for it should be set all the same.
int wf_fill_source_buffer(int samples_per_cycle, int signal_type);
int wf_clear_source_buffer();

/// Any value but 0 sets the bit.
int wf_set_polarity(int polarity);
int wf_enable_DAC(int enable);

/// Starts the generator if bit 4 of `control`, its control word, is set, else stops it. Limits:
/// samples a power of 2 from 4 to 4096 (-34), amplitude up to 4096, step up to 2048, rate from 6
/// (-22). A failure on the way leaves the amplitude 0.
int wf_initiate(int samples_per_cycle, int amplitude, int step, int rate, int control);

/// 0 if `value` is a power of 2 from `min` to `max`, else -1.
int wf_check_power_of_two(unsigned value, unsigned min, unsigned max);

}  // namespace Dev

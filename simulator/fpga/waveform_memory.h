// What the waveform generator plays: two buffers of 4096 samples in the FPGA, or in high-speed mode
// a long wave that the driver feeds from memory of its own.
//
// Memories: fpga.waveform (both buffers as the daemon maps them) and fpga.waveform.fast.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/shared_memory.h"
#include "simulator/units.h"

namespace simulator::fpga {

/// Threads: one at a time, except for what the daemon writes into the mapped memories.
class WaveformMemory {
 public:
  static constexpr std::size_t kBufferSamples = 4096;
  /// Of the wave in the high-speed memory.
  static constexpr std::size_t kFastSamples = 0x40000;

  /// The driver decides how long the memory of the high-speed mode is.
  WaveformMemory(double driver_version, Units& units);

  /// The descriptor behind a mapping, or a negative errno: EINVAL for any other memory.
  int Map(std::size_t length, off_t offset) const;
  void SetFast(bool on) { fast_ = on; }
  bool IsFast() const { return fast_; }
  /// The end of writing: from now on the FPGA uses the content of the mapped buffers.
  void Load();
  /// The lowest and the highest sample of each loaded buffer.
  std::string Describe() const;

 private:
  SharedMemory buffers_;
  SharedMemory fast_memory_;
  std::array<std::array<std::int16_t, kBufferSamples>, 2> loaded_{};
  bool fast_ = false;
};

}  // namespace simulator::fpga

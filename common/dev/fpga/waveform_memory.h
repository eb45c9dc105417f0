// A mapping of the waveform generator's source memory, as long as the object lives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Dev {

class WaveformMemory {
 public:
  /// `fd` is the FPGA's device; `bytes` selects one of its memories.
  WaveformMemory(int fd, std::size_t bytes);
  ~WaveformMemory();
  WaveformMemory(const WaveformMemory&) = delete;
  WaveformMemory& operator=(const WaveformMemory&) = delete;

  /// False when the memory could not be mapped, which is logged.
  explicit operator bool() const { return !samples_.empty(); }
  std::span<std::int16_t> Samples() const { return samples_; }

 private:
  std::span<std::int16_t> samples_;
};

}  // namespace Dev

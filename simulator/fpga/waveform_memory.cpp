#include "simulator/fpga/waveform_memory.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "platform/fpga_driver.h"

namespace simulator::fpga {
namespace {

/// Drivers from this version on, in hundredths, have space for a run-in before the wave.
constexpr unsigned kRunInVersion = 90;

std::size_t FastBytes(double driver_version) {
  const auto hundredths = static_cast<unsigned>(std::lround(driver_version * 100));
  return hundredths >= kRunInVersion ? Dev::kFastWaveformBytesLarge : Dev::kFastWaveformBytes;
}

}  // namespace

WaveformMemory::WaveformMemory(double driver_version, Units& units)
    : buffers_("waveform", Dev::kWaveformBytes),
      fast_memory_("waveform-fast", FastBytes(driver_version)) {
  units.AddMemory("fpga.waveform", buffers_);
  units.AddMemory("fpga.waveform.fast", fast_memory_);
}

int WaveformMemory::Map(std::size_t length, off_t offset) const {
  if (offset != 0) return -EINVAL;
  const SharedMemory* memory = nullptr;
  if (length == Dev::kWaveformBytes) memory = &buffers_;
  if (length == Dev::kFastWaveformBytes || length == Dev::kFastWaveformBytesLarge) {
    memory = &fast_memory_;
  }
  if (memory == nullptr) return -EINVAL;
  if (memory->Descriptor() < 0) return -ENOMEM;
  return length <= memory->Size() ? memory->Descriptor() : -EINVAL;
}

void WaveformMemory::Load() {
  static_assert(sizeof loaded_ == Dev::kWaveformBytes);
  const auto bytes = buffers_.Data();
  if (bytes.size() == sizeof loaded_) std::memcpy(loaded_.data(), bytes.data(), bytes.size());
}

std::string WaveformMemory::Describe() const {
  std::string text;
  for (const auto& buffer : loaded_) {
    const auto [low, high] = std::ranges::minmax(buffer);
    text += (text.empty() ? "" : ", ") + std::to_string(low) + " to " + std::to_string(high);
  }
  return text;
}

}  // namespace simulator::fpga

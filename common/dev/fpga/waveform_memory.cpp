#include "common/dev/fpga/waveform_memory.h"

#include <sys/mman.h>

#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

WaveformMemory::WaveformMemory(int fd, std::size_t bytes) {
  void* memory =
      platform::Machine().Mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d: mmap of Source Waveform Memory failed\n");
    return;
  }
  samples_ = {static_cast<std::int16_t*>(memory), bytes / sizeof(std::int16_t)};
}

WaveformMemory::~WaveformMemory() {
  if (samples_.empty()) return;
  const int result = platform::Machine().Munmap(samples_.data(), samples_.size_bytes());
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: munmap ret=%d\n", result);
}

}  // namespace Dev

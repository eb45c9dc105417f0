#include "common/dev/fpga/waveform_memory.h"

#include <sys/mman.h>

#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Dev {

using Logger::fpgaL;
using Logger::logger_mgr;

WaveformMemory::WaveformMemory(int fd, std::size_t bytes) {
  void* memory =
      platform::Machine().Mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    logger_mgr::print(fpgaL, Logger::kError, 0, "%s.%d: mmap of Source Waveform Memory failed\n",
                      __func__, __LINE__);
    return;
  }
  samples_ = {static_cast<std::int16_t*>(memory), bytes / sizeof(std::int16_t)};
}

WaveformMemory::~WaveformMemory() {
  if (samples_.empty()) return;
  const int result = platform::Machine().Munmap(samples_.data(), samples_.size_bytes());
  logger_mgr::print(fpgaL, Logger::kInfo, 0, "%s.%d: munmap ret=%d\n", __func__, __LINE__, result);
}

}  // namespace Dev

#include "common/dev/fpga/fpga_dev.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <mutex>

#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Dev {

FpgaDev* FpgaDev::GetDevice() {
  static std::mutex opening;
  static std::unique_ptr<FpgaDev> device;
  std::lock_guard lock(opening);
  if (!device) {
    int fd = platform::Machine().Open(kFpgaDevicePath, O_RDWR);
    if (fd < 0) {
      int error = errno;
      Logger::logger_mgr::print(Logger::fpgaL, Logger::kError, 0, "%s: OPEN ERROR\n", "GetDevice");
      errno = error;
      return nullptr;
    }
    device = std::make_unique<FpgaDev>(fd);
  }
  return device.get();
}

FpgaDev::~FpgaDev() { platform::Machine().Close(_fd); }

}  // namespace Dev

#include "common/dev/fpga/fpga_dev.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <mutex>

#include "common/log/log_line.h"
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
      Q5_LOG_ERROR(fpgaL, "%s: OPEN ERROR\n", "GetDevice");
      errno = error;
      return nullptr;
    }
    device = std::make_unique<FpgaDev>(fd);
  }
  return device.get();
}

FpgaDev::~FpgaDev() { platform::Machine().Close(_fd); }

}  // namespace Dev

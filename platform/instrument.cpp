#include "platform/instrument.h"

#include <cerrno>

namespace platform {

// What a driver without the operation answers.
ssize_t DeviceFile::Read(void*, size_t) { return -EINVAL; }
ssize_t DeviceFile::Pread(void*, size_t, off_t) { return -ESPIPE; }
ssize_t DeviceFile::Write(const void*, size_t) { return -EINVAL; }
int DeviceFile::Ioctl(unsigned long, void*) { return -ENOTTY; }
int DeviceFile::Map(size_t, off_t) { return -ENODEV; }

}  // namespace platform

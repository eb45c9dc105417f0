#include "common/acquisition/driver_attribute.h"

#include <fcntl.h>

#include <cstdlib>
#include <cstring>

#include "platform/backend.h"

namespace acquisition {

bool DriverAttribute::Open(const char* path) {
  fd_ = platform::DeviceFd(path, O_RDONLY);
  return static_cast<bool>(fd_);
}

const char* DriverAttribute::Read() {
  const ssize_t size =
      fd_ ? platform::Machine().Pread(fd_.Get(), text_.data(), text_.size() - 1, 0) : -1;
  text_[size < 0 ? 0 : static_cast<std::size_t>(size)] = '\0';
  text_[std::strcspn(text_.data(), "\n")] = '\0';
  return text_.data();
}

unsigned long DriverAttribute::ReadHex() { return std::strtoul(Read(), nullptr, 16); }

}  // namespace acquisition

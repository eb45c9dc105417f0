#include "common/acquisition/driver_attribute.h"

#include <fcntl.h>

#include <cstdlib>
#include <cstring>

#include "platform/backend.h"

namespace acquisition {

DriverAttribute::~DriverAttribute() {
  if (fd_ >= 0) platform::Machine().Close(fd_);
}

bool DriverAttribute::Open(const char* path) {
  if (fd_ >= 0) platform::Machine().Close(fd_);
  fd_ = platform::Machine().Open(path, O_RDONLY);
  return fd_ >= 0;
}

const char* DriverAttribute::Read() {
  const ssize_t size =
      fd_ < 0 ? -1 : platform::Machine().Pread(fd_, text_.data(), text_.size() - 1, 0);
  text_[size < 0 ? 0 : static_cast<std::size_t>(size)] = '\0';
  text_[std::strcspn(text_.data(), "\n")] = '\0';
  return text_.data();
}

unsigned long DriverAttribute::ReadHex() { return std::strtoul(Read(), nullptr, 16); }

}  // namespace acquisition

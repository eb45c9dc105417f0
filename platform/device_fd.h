// A descriptor that the machine's back end has opened, closed by the object that owns it.
#pragma once

#include <utility>

#include "platform/backend.h"

namespace platform {

class DeviceFd {
 public:
  DeviceFd() = default;
  explicit DeviceFd(int fd) : fd_(fd) {}
  /// As open(2); without a descriptor errno says why.
  DeviceFd(const char* path, int flags) : fd_(Machine().Open(path, flags)) {}
  DeviceFd(DeviceFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  DeviceFd& operator=(DeviceFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~DeviceFd() {
    if (fd_ >= 0) Machine().Close(fd_);
  }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace platform

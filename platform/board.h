// The back end of the instrument's own module: every operation is the POSIX call itself.
#pragma once

#include <string>

#include "platform/backend.h"
#include "platform/real_clock.h"

namespace platform {

class BoardBackend final : public Backend {
 public:
  int Open(const char* path, int flags, mode_t mode) override;
  int Close(int fd) override;
  ssize_t Read(int fd, void* data, size_t size) override;
  ssize_t Pread(int fd, void* data, size_t size, off_t offset) override;
  ssize_t Write(int fd, const void* data, size_t size) override;
  int Ioctl(int fd, unsigned long request, void* argument) override;
  int Prepare(int fd, unsigned long request, const void* argument, size_t size,
              PreparedIoctl& prepared) override;
  void* Mmap(void* address, size_t length, int protection, int flags, int fd,
             off_t offset) override;
  int Munmap(void* address, size_t length) override;
  std::string Path(std::string_view path) const override { return std::string(path); }
  int System(const char* command) override;
  int SetRealtime(const timespec& time) override;
  /// The first address of the host's name; else that of the interface "eth0"; else "127.0.0.1".
  std::string HostAddress() override;
  std::string ListenHost() override { return "*"; }
  void SystemLog(const char* ident, int priority, const char* text) override;
  platform::Clock& Clock() override { return clock_; }

 private:
  RealClock clock_;
};

}  // namespace platform

#include "platform/local.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>

namespace platform {

class LocalBackend::LocalDevice final : public Device {
 public:
  LocalDevice(std::unique_ptr<DeviceFile> file, UniqueFd number, bool waits)
      : file_(std::move(file)), number_(std::move(number)), waits_(waits) {}

  int Number() const override { return number_.Get(); }
  ssize_t Read(void* data, size_t size) override {
    for (;;) {
      const ssize_t result = file_->Read(data, size);
      if (closed_) return -EBADF;
      if (result != -EAGAIN || !waits_) return result;
    }
  }
  ssize_t Pread(void* data, size_t size, off_t offset) override {
    return file_->Pread(data, size, offset);
  }
  ssize_t Write(const void* data, size_t size) override { return file_->Write(data, size); }
  int Ioctl(unsigned long request, std::span<std::byte> argument) override {
    return file_->Ioctl(request, argument.data());
  }
  int Map(size_t length, off_t offset, UniqueFd& memory) override {
    const int shared = file_->Map(length, offset);
    if (shared < 0) return shared;
    memory.Reset(::fcntl(shared, F_DUPFD_CLOEXEC, 0));
    return memory ? 0 : -errno;
  }
  void Shutdown() override { closed_ = true; }

 private:
  const std::unique_ptr<DeviceFile> file_;
  const UniqueFd number_;
  const bool waits_;
  std::atomic<bool> closed_{false};
};

std::shared_ptr<RootedBackend::Device> LocalBackend::OpenDevice(const std::string& path, int flags,
                                                                int& error) {
  std::unique_ptr<DeviceFile> file = instrument_.Open(path, flags, error);
  if (file == nullptr) return nullptr;
  // Only its number is used: it keeps the kernel from giving the number to another file.
  UniqueFd number(::eventfd(0, EFD_CLOEXEC));
  if (!number) {
    error = errno;
    return nullptr;
  }
  return std::make_shared<LocalDevice>(std::move(file), std::move(number),
                                       (flags & O_NONBLOCK) == 0);
}

int LocalBackend::System(const char* command) { return instrument_.System(command); }

int LocalBackend::SetRealtime(const timespec& time) {
  const int result = instrument_.SetRealtime(time);
  if (result < 0) {
    errno = -result;
    return -1;
  }
  clock_.SetRealtime(time);
  return 0;
}

}  // namespace platform

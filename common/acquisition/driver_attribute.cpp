#include "common/acquisition/driver_attribute.h"

#include <fcntl.h>

#include <cstdlib>
#include <cstring>

#include "platform/backend.h"

namespace acquisition {
namespace {

constexpr platform::Nanoseconds kFresh = std::chrono::milliseconds(100);

}  // namespace

bool DriverAttribute::Open(const char* path) {
  fd_ = platform::DeviceFd(path, O_RDONLY);
  return static_cast<bool>(fd_);
}

bool DriverAttribute::Refresh() {
  const platform::Nanoseconds now = platform::Machine().Clock().Monotonic();
  if (read_at_ && now - *read_at_ < kFresh) return false;
  read_at_ = now;
  const ssize_t size =
      fd_ ? platform::Machine().Pread(fd_.Get(), text_.data(), text_.size() - 1, 0) : -1;
  text_[size < 0 ? 0 : static_cast<std::size_t>(size)] = '\0';
  text_[std::strcspn(text_.data(), "\n")] = '\0';
  return true;
}

unsigned long DriverAttribute::Hex() const { return std::strtoul(Text(), nullptr, 16); }

}  // namespace acquisition

#include "platform/rooted.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <vector>

#include "platform/ioctl_table.h"

namespace platform {
namespace {

struct Resolved {
  std::vector<std::string_view> parts;
  bool leaves_root = false;
};

Resolved Resolve(std::string_view path) {
  Resolved resolved;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (part.empty() || part == ".") continue;
    if (part != "..") {
      resolved.parts.push_back(part);
    } else if (resolved.parts.empty()) {
      resolved.leaves_root = true;
    } else {
      resolved.parts.pop_back();
    }
  }
  return resolved;
}

std::string Join(const std::vector<std::string_view>& parts) {
  std::string joined;
  for (const std::string_view part : parts) joined.append("/").append(part);
  return joined;
}

bool IsDevice(std::string_view path) {
  return path.starts_with("/dev/") || path.starts_with("/sys/");
}

/// The kernel's habit of a negative errno, turned into that of the C library.
template <class Result>
Result SetErrno(Result result) {
  if (result >= 0) return result;
  errno = static_cast<int>(-result);
  return -1;
}

/// A mapping longer than its memory would end the program with SIGBUS at the first touch.
bool HoldsAtLeast(int memory, size_t length) {
  struct stat status {};
  return ::fstat(memory, &status) == 0 && static_cast<std::uintmax_t>(status.st_size) >= length;
}

}  // namespace

RootDirectory::RootDirectory(const std::string& root) {
  std::error_code error;
  const auto absolute = std::filesystem::weakly_canonical(root, error);
  root_ = error ? std::filesystem::absolute(root).string() : absolute.string();
  while (root_.ends_with('/')) root_.pop_back();
}

std::string RootDirectory::Map(std::string_view path) const {
  // A closing slash is kept: callers put file names behind directories.
  return root_ + Join(Resolve(path).parts) + (path.ends_with('/') ? "/" : "");
}

bool RootDirectory::Leaves(std::string_view path) { return Resolve(path).leaves_root; }

std::shared_ptr<RootedBackend::Device> RootedBackend::Find(int fd) const {
  const Lock lock(devices_mutex_);
  const auto found = devices_.find(fd);
  return found == devices_.end() ? nullptr : found->second;
}

int RootedBackend::Open(const char* path, int flags, mode_t mode) {
  if (RootDirectory::Leaves(path)) {
    errno = EACCES;
    return -1;
  }
  const std::string resolved = Join(Resolve(path).parts);
  if (!IsDevice(resolved)) return ::open(root_.Map(path).c_str(), flags, mode);
  int error = 0;
  std::shared_ptr<Device> device = OpenDevice(resolved, flags, error);
  if (device == nullptr) {
    errno = error;
    return -1;
  }
  const int fd = device->Number();
  const Lock lock(devices_mutex_);
  devices_[fd] = std::move(device);
  return fd;
}

int RootedBackend::Close(int fd) {
  std::shared_ptr<Device> device;
  {
    const Lock lock(devices_mutex_);
    const auto found = devices_.find(fd);
    if (found != devices_.end()) {
      device = std::move(found->second);
      devices_.erase(found);
    }
  }
  if (device == nullptr) return ::close(fd);
  device->Shutdown();
  return 0;
}

ssize_t RootedBackend::Read(int fd, void* data, size_t size) {
  const auto device = Find(fd);
  return device == nullptr ? ::read(fd, data, size) : SetErrno(device->Read(data, size));
}

ssize_t RootedBackend::Pread(int fd, void* data, size_t size, off_t offset) {
  const auto device = Find(fd);
  if (device == nullptr) return ::pread(fd, data, size, offset);
  return SetErrno(offset < 0 ? -EINVAL : device->Pread(data, size, offset));
}

ssize_t RootedBackend::Write(int fd, const void* data, size_t size) {
  const auto device = Find(fd);
  return device == nullptr ? ::write(fd, data, size) : SetErrno(device->Write(data, size));
}

int RootedBackend::Ioctl(int fd, unsigned long request, void* argument) {
  const auto device = Find(fd);
  if (device == nullptr) return ::ioctl(fd, request, argument);
  const IoctlShape* shape = FindIoctl(request);
  if (shape == nullptr) return SetErrno(-ENOTTY);
  if (shape->argument != IoctlArgument::kValue && argument == nullptr) return SetErrno(-EFAULT);
  IoctlMarshal marshal(*shape, argument);
  const int result = device->Ioctl(request, marshal.Bytes());
  if (result >= 0) marshal.Return();
  return SetErrno(result);
}

int RootedBackend::Prepare(int fd, unsigned long request, const void* argument, size_t size,
                           PreparedIoctl& prepared) {
  const auto device = Find(fd);
  if (device == nullptr) return SetErrno(-EBADF);
  return SetErrno(
      device->Prepare(request, {static_cast<const std::byte*>(argument), size}, prepared));
}

int RootedBackend::Device::Prepare(unsigned long, std::span<const std::byte>, PreparedIoctl&) {
  return -ENOTTY;
}

void* RootedBackend::Mmap(void* address, size_t length, int protection, int flags, int fd,
                          off_t offset) {
  const auto device = Find(fd);
  if (device == nullptr) return ::mmap(address, length, protection, flags, fd, offset);
  UniqueFd memory;
  const int result = device->Map(length, offset, memory);
  if (result < 0 || !HoldsAtLeast(memory.Get(), length)) {
    errno = result < 0 ? -result : ENXIO;
    return MAP_FAILED;
  }
  return ::mmap(address, length, protection, flags, memory.Get(), 0);
}

int RootedBackend::Munmap(void* address, size_t length) { return ::munmap(address, length); }

void RootedBackend::SystemLog(const char* ident, int, const char* text) {
  // The line of a plain /var/log/messages, which does not show the priority.
  const timespec now = Clock().Realtime();
  std::tm parts{};
  ::gmtime_r(&now.tv_sec, &parts);
  char time[32] = "";
  std::strftime(time, sizeof time, "%b %e %H:%M:%S", &parts);
  WriteSystemLog(std::string(time) + " " + ident + "[" + std::to_string(::getpid()) + "]: " + text);
}

}  // namespace platform

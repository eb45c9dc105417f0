// The common part of the two back ends that run without a board: a directory in place of "/", and
// device files that are objects behind a descriptor number.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/backend.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace platform {

/// The path rule. Works on the text alone: a symbolic link that someone put under the root is
/// followed wherever it leads.
class RootDirectory {
 public:
  /// `root` is made absolute here, as the daemon changes its directory to "/".
  explicit RootDirectory(const std::string& root);

  const std::string& Root() const { return root_; }
  /// Where `path` is on this machine; a relative one is taken from "/", where the daemon runs.
  /// ".." at the top stays at the top, as it does in "/", so the result never lies outside the
  /// root.
  std::string Map(std::string_view path) const;
  /// True when ".." components lead above the root.
  static bool Leaves(std::string_view path);

 private:
  std::string root_;
};

class RootedBackend : public Backend {
 public:
  int Open(const char* path, int flags, mode_t mode) final;
  int Close(int fd) final;
  ssize_t Read(int fd, void* data, size_t size) final;
  ssize_t Pread(int fd, void* data, size_t size, off_t offset) final;
  ssize_t Write(int fd, const void* data, size_t size) final;
  int Ioctl(int fd, unsigned long request, void* argument) final;
  int Prepare(int fd, unsigned long request, const void* argument, size_t size,
              PreparedIoctl& prepared) final;
  void* Mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) final;
  int Munmap(void* address, size_t length) final;
  std::string Path(std::string_view path) const override { return root_.Map(path); }
  void SystemLog(const char* ident, int priority, const char* text) final;

 protected:
  /// An open device. Operations return 0 or a count, or a negative errno; called from any thread.
  class Device {
   public:
    virtual ~Device() = default;
    /// The number of the device; a real descriptor, owned by the device.
    virtual int Number() const = 0;
    virtual ssize_t Read(void* data, size_t size) = 0;
    virtual ssize_t Pread(void* data, size_t size, off_t offset) = 0;
    virtual ssize_t Write(const void* data, size_t size) = 0;
    /// `argument` as IoctlMarshal has it.
    virtual int Ioctl(unsigned long request, std::span<std::byte> argument) = 0;
    /// As Backend::Prepare, but 0 or a negative errno.
    virtual int Prepare(unsigned long request, std::span<const std::byte> argument,
                        PreparedIoctl& prepared);
    /// The memory behind a mapping, which starts at the memory's first byte.
    virtual int Map(size_t length, off_t offset, UniqueFd& memory) = 0;
    /// Ends operations that wait; the number is free when the last of them has returned.
    virtual void Shutdown() = 0;
  };

  explicit RootedBackend(const std::string& root) : root_(root) {}

  /// Null with `error` set on failure.
  virtual std::shared_ptr<Device> OpenDevice(const std::string& path, int flags, int& error) = 0;
  virtual void WriteSystemLog(const std::string& line) = 0;
  const std::string& Root() const { return root_.Root(); }

 private:
  std::shared_ptr<Device> Find(int fd) const;

  const RootDirectory root_;
  mutable Mutex devices_mutex_;
  std::unordered_map<int, std::shared_ptr<Device>> devices_ Q5_GUARDED_BY(devices_mutex_);
};

}  // namespace platform

// What is behind the virtual and the local back end: the devices of one module and the machine
// around them. simulator/ implements it; the local back end calls it in process, the virtual back
// end reaches it over q5sim's socket.
//
// Results follow the kernel's habit: 0 or a count, or a negative errno.
// Threads: called from any thread, also at the same time on one file.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// One open device file. Destroyed when the last descriptor is closed.
class DeviceFile {
 public:
  virtual ~DeviceFile() = default;

  /// A read that would have to wait longer than a fraction of a second returns -EAGAIN; the caller
  /// repeats it. So a server can distinguish a device that waits from a dead one. For the devices
  /// of ReadRecordBytes (ioctl_table.h) `data` holds the caller's record on entry.
  virtual ssize_t Read(void* data, size_t size);
  /// Never waits. -ESPIPE for devices that are no files of text.
  virtual ssize_t Pread(void* data, size_t size, off_t offset);
  virtual ssize_t Write(const void* data, size_t size);
  /// `argument` has the shape and size that ioctl_table.h gives for the request; for a request by
  /// value it points to an int64. Requests that are not in that table never arrive; those of other
  /// devices do, so the memory at `argument` is always kMaxIoctlBytes long.
  virtual int Ioctl(unsigned long request, void* argument);
  /// A descriptor of the shared memory that backs a mapping of `length` bytes at `offset`; owned by
  /// the file. The mapping begins at the memory's first byte, so a device distinguishes its
  /// memories by offset and length. -ENODEV for devices that cannot be mapped.
  virtual int Map(size_t length, off_t offset);
};

class Instrument {
 public:
  virtual ~Instrument() = default;

  /// Null with `error` (an errno) set when there is no such device or it refuses.
  virtual std::unique_ptr<DeviceFile> Open(std::string_view path, int flags, int& error) = 0;
  /// Answers a shell command: a wait status as of system(3).
  virtual int System(std::string_view command) = 0;
  virtual int SetRealtime(const timespec& time) = 0;
  virtual timespec Realtime() = 0;
  virtual std::string HostAddress() = 0;
  virtual void SystemLog(std::string_view line) = 0;
};

}  // namespace platform

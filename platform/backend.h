// The one seam between the daemon and the machine.
//
// Nothing above platform/ opens a device, prefixes a path, runs a shell command, sets the clock,
// reads an interface's address or sleeps by itself: it asks Machine(). Three back ends implement
// this class:
//
//   board    the POSIX call itself, on the instrument's own module
//   virtual  $Q5_ROOT takes the place of "/"; devices, commands, mounts and the clock are served by
//   q5sim local    device models called in process, on a fake clock, for unit tests
//
// Contracts are those of the POSIX calls of the same name: -1 and errno on failure.
// Threads: every operation may be called from any thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/prepared_ioctl.h"

namespace platform {

class Backend {
 public:
  Backend() = default;
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  virtual ~Backend() = default;

  // --- Device files ("/dev/...", "/sys/...") and the instrument's files, by their path there ---

  virtual int Open(const char* path, int flags, mode_t mode = 0) = 0;
  virtual int Close(int fd) = 0;
  /// A read of the FPGA's driver takes a record from `data`, too (fpga_driver.h).
  virtual ssize_t Read(int fd, void* data, size_t size) = 0;
  /// As pread. Of the devices only attributes under "/sys" can do it: from offset 0 they show what
  /// they hold now, however often. ESPIPE for the others.
  virtual ssize_t Pread(int fd, void* data, size_t size, off_t offset) = 0;
  virtual ssize_t Write(int fd, const void* data, size_t size) = 0;
  /// `argument` is the request's own: a value, or the address of a record whose shape the request
  /// fixes. Requests that a back end cannot carry fail with ENOTTY.
  virtual int Ioctl(int fd, unsigned long request, void* argument) = 0;
  /// Puts an ioctl together for later, with the `size` bytes at `argument`, which receive no
  /// answer. `fd` must be used for nothing else. 0, or -1: ENOTTY where a back end has none.
  virtual int Prepare(int fd, unsigned long request, const void* argument, size_t size,
                      PreparedIoctl& prepared);
  /// MAP_FAILED on failure, as mmap.
  virtual void* Mmap(void* address, size_t length, int protection, int flags, int fd,
                     off_t offset) = 0;
  virtual int Munmap(void* address, size_t length) = 0;

  // --- Paths ---

  /// Where the instrument's file `path` (absolute) is on this machine, for calls that take a
  /// path.
  virtual std::string Path(std::string_view path) const = 0;

  // --- The machine as a whole ---

  /// As system(3): the wait status of the shell, or -1.
  virtual int System(const char* command) = 0;
  /// As clock_settime(CLOCK_REALTIME).
  virtual int SetRealtime(const timespec& time) = 0;
  /// Dotted address of this module on the instrument's network; "127.0.0.1" when it is unknown.
  virtual std::string HostAddress() = 0;
  /// The host part of an end point for other modules to connect to: "*" on the board, for all its
  /// interfaces. Elsewhere a module has but its own address.
  virtual std::string ListenHost() { return HostAddress(); }
  /// One line to the machine's system log, under `ident` (a daemon's name).
  virtual void SystemLog(const char* ident, int priority, const char* text) = 0;

  virtual platform::Clock& Clock() = 0;
};

/// The back end in use. The first call makes it: virtual if the environment variable Q5_ROOT names
/// a directory, else board. A Q5_ROOT that names none ends the process with a message: running on
/// the developer's own machine instead would be worse.
Backend& Machine();

/// Puts another back end in place for a scope; for tests.
class ScopedBackend {
 public:
  explicit ScopedBackend(Backend& backend);
  ~ScopedBackend();
  ScopedBackend(const ScopedBackend&) = delete;
  ScopedBackend& operator=(const ScopedBackend&) = delete;

 private:
  Backend* previous_;
};

}  // namespace platform

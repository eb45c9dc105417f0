// The back end of a daemon that runs on a virtual instrument: files lie under a root directory,
// devices and the machine itself are served by q5sim (wire.h).
//
// A device's descriptor is the socket of a connection of its own, so that the kernel closes the
// device when the daemon dies. When q5sim dies, operations fail with EIO and then ENODEV, with one
// log line; when it runs again, the next operation reopens the device behind the same descriptor.
// The new device file starts afresh: what an ioctl had set on the old one is gone, as after a reset
// of the board. A read of the FPGA's sample stream that finds a new file fails once with EIO, since
// the stream has to be started again.
#pragma once

#include <atomic>
#include <string>

#include "platform/real_clock.h"
#include "platform/rooted.h"
#include "platform/wire.h"

namespace platform {

class VirtualBackend final : public RootedBackend {
 public:
  /// A q5sim that says nothing for `silence` counts as dead (ETIMEDOUT) when a device is opened, a
  /// block is read or the machine is asked. The other requests of an open device have no limit, as
  /// a driver's have none.
  explicit VirtualBackend(const std::string& root, Nanoseconds silence = std::chrono::seconds(5));

  /// -1 with errno when q5sim cannot be reached: no command ever runs on this machine.
  int System(const char* command) override;
  int SetRealtime(const timespec& time) override;
  std::string HostAddress() override;
  platform::Clock& Clock() override { return clock_; }

 private:
  class RemoteDevice;

  /// How q5sim is reached.
  struct Server {
    std::string path;
    Nanoseconds silence;
  };

  /// Real time, moved by what SetRealtime gave. q5sim keeps the time of day, so that it outlives
  /// the daemon; it is asked once, and again once a second for as long as it does not answer. The
  /// log itself asks for the time, so nothing here may log or wait for another thread.
  class ShiftedClock final : public RealClock {
   public:
    explicit ShiftedClock(const Server& server) : server_(server) {}
    timespec Realtime() const override;
    void Shift(const timespec& now);

   private:
    void AskServer() const;

    const Server& server_;
    mutable std::mutex asking_mutex_;  ///< held by the one thread that asks
    mutable std::atomic<bool> known_{false};
    mutable std::atomic<std::int64_t> next_try_{0};
    mutable std::atomic<std::int64_t> offset_{0};
  };

  std::shared_ptr<Device> OpenDevice(const std::string& path, int flags, int& error) override;
  void WriteSystemLog(const std::string& line) override;

  /// One request on a connection of its own. 0 or an errno.
  static int Call(const Server& server, wire::Op op, std::span<const std::byte> data,
                  wire::Packet& reply);
  int LoggedCall(wire::Op op, std::span<const std::byte> data, wire::Packet& reply) const;

  const Server server_;
  ShiftedClock clock_;
};

}  // namespace platform

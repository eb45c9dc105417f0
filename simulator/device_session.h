// What one connection to the device server asks for (platform/wire.h).
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "platform/instrument.h"
#include "platform/thread_safety.h"
#include "platform/wire.h"

namespace simulator {

/// The open device files by token, so that a second connection can read a file.
/// Tokens are drawn: those of an earlier q5sim name nothing.
class OpenFiles {
 public:
  std::int64_t Add(std::shared_ptr<platform::DeviceFile> file);
  std::shared_ptr<platform::DeviceFile> Find(std::int64_t token);
  void Remove(std::int64_t token);

 private:
  platform::Mutex mutex_;
  std::map<std::int64_t, std::weak_ptr<platform::DeviceFile>> files_ Q5_GUARDED_BY(mutex_);
};

/// Threads: one per session; sessions side by side.
class DeviceSession {
 public:
  DeviceSession(platform::Instrument& instrument, OpenFiles& files)
      : instrument_(instrument), files_(files) {}
  ~DeviceSession();
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  struct Reply {
    std::int64_t value = 0;  ///< a result, or a negative errno
    std::vector<std::byte> data{};
    int descriptor = -1;  ///< owned by the open file
  };
  /// May take as long as the device takes.
  Reply Handle(const platform::wire::Packet& request);

 private:
  using Handler = Reply (DeviceSession::*)(const platform::wire::Packet&);
  struct Operation {
    platform::wire::Op op;
    bool needs_file;
    Handler handler;
  };
  static const Operation kOperations[];

  Reply Open(const platform::wire::Packet& request);
  Reply Attach(const platform::wire::Packet& request);
  Reply Read(const platform::wire::Packet& request);
  Reply Pread(const platform::wire::Packet& request);
  Reply Write(const platform::wire::Packet& request);
  Reply Ioctl(const platform::wire::Packet& request);
  Reply Map(const platform::wire::Packet& request);
  Reply System(const platform::wire::Packet& request);
  Reply SetRealtime(const platform::wire::Packet& request);
  Reply Realtime(const platform::wire::Packet& request);
  Reply HostAddress(const platform::wire::Packet& request);
  Reply SystemLog(const platform::wire::Packet& request);

  platform::Instrument& instrument_;
  OpenFiles& files_;
  std::shared_ptr<platform::DeviceFile> file_;
  std::int64_t token_ = 0;  ///< of the file that this session opened; 0 for none
};

}  // namespace simulator

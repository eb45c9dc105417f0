// The back end of unit tests: device models called in process, on a fake clock.
#pragma once

#include <string>

#include "platform/fake_clock.h"
#include "platform/instrument.h"
#include "platform/rooted.h"

namespace platform {

class LocalBackend : public RootedBackend {
 public:
  /// `instrument` and `clock` must outlive the back end; `root` is a directory of the test's own.
  LocalBackend(Instrument& instrument, FakeClock& clock, const std::string& root)
      : RootedBackend(root), instrument_(instrument), clock_(clock) {}

  int System(const char* command) override;
  int SetRealtime(const timespec& time) override;
  std::string HostAddress() override { return instrument_.HostAddress(); }
  platform::Clock& Clock() override { return clock_; }

 private:
  class LocalDevice;

  std::shared_ptr<Device> OpenDevice(const std::string& path, int flags, int& error) override;
  void WriteSystemLog(const std::string& line) override { instrument_.SystemLog(line); }

  Instrument& instrument_;
  FakeClock& clock_;
};

}  // namespace platform

// A local back end with nothing behind it: no device, no command, a loopback address. Tests derive
// from BareInstrument what they need.
#pragma once

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/backend.h"
#include "platform/fake_clock.h"
#include "platform/instrument.h"
#include "platform/local.h"
#include "tests/platform/temporary_root.h"

namespace platform {

class BareInstrument : public Instrument {
 public:
  std::unique_ptr<DeviceFile> Open(std::string_view, int, int& error) override {
    error = ENOENT;
    return nullptr;
  }
  int System(std::string_view) override { return 127 << 8; }
  int SetRealtime(const timespec&) override { return 0; }
  timespec Realtime() override { return {}; }
  std::string HostAddress() override { return "127.0.0.1"; }
  void SystemLog(std::string_view) override {}
};

/// Keeps the commands that go to the shell, and answers as the test says.
class RecordingShell : public BareInstrument {
 public:
  int System(std::string_view command) override {
    commands.emplace_back(command);
    return answer ? answer(commands.back()) : 0;
  }
  std::vector<std::string> commands;
  std::function<int(const std::string&)> answer;
};

/// Such a machine in place for as long as the object lives.
template <class Its = BareInstrument>
struct MachineInPlace {
  TemporaryRoot root;
  Its instrument;
  FakeClock clock;
  LocalBackend backend{instrument, clock, root.Path()};
  ScopedBackend scope{backend};
};

}  // namespace platform

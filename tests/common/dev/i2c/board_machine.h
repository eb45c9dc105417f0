// The virtual board in process: the chips of the measurement module, the daemon's devices for them,
// and the I2C worker, on a fake clock that sleepers move by themselves.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <libconfig.h++>
#include <string>

#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"
#include "platform/fake_clock.h"
#include "platform/local.h"
#include "simulator/control.h"
#include "simulator/virtual_instrument.h"
#include "tests/common/msg/state/error_list.h"
#include "tests/platform/temporary_root.h"

/// A base of fixtures; the daemon's devices are process-wide, so one object a process.
class BoardMachine {
 public:
  explicit BoardMachine(const simulator::Config& its_config = {})
      : config(WithAddress(its_config)) {
    EXPECT_EQ(instrument.Problem(), "");
    std::filesystem::create_directories(root / "tmp");
    clock.SetAutoAdvance(true);
    Msg::HMPData::GetHMPData(settings, Msg::MEAS_MODULE);
    Msg::ghmp->i2cswitch = config.i2c_switch ? 1 : 0;
  }
  ~BoardMachine() { i2c.End(); }

  /// Loads the devices and starts the worker, as the daemon does.
  void StartBoard() {
    const int revision = static_cast<int>(config.board_revision);
    Dev::RegisterDrivers();
    ASSERT_EQ(i2c.Init(Msg::MEAS_MODULE, revision, *Msg::ghmp), 0);
    for (int channel : {0, 1}) {
      const auto id = static_cast<short>(config.cpld.at(static_cast<std::size_t>(channel)).id);
      Msg::ghmp->SetCPLDRevInfo(channel, id, 0);
    }
    i2c.StopScanner();
    i2c.appndDevTbl(Msg::MEAS_MODULE, revision);
    i2c.appndPerScanList();
    Dev::I2cReq none;  // is served when the worker has read what is read once
    i2c.I2cWkrExecReq(&none);
  }
  std::string Control(const std::string& line) {
    return simulator::AnswerControlLine(instrument.Units(), line);
  }
  std::vector<int> Errors() const { return ListOf(*Msg::ghmp); }

  platform::TemporaryRoot root;
  libconfig::Config settings;
  const simulator::Config config;
  platform::FakeClock clock;
  simulator::VirtualInstrument instrument{config, root.Path(), clock};
  platform::LocalBackend backend{instrument, clock, root.Path()};
  platform::ScopedBackend scope{backend};
  Dev::I2cMgr i2c{"Mos.I2cMgr", 0};

 private:
  // The manager listens on the module's address, and tests run side by side.
  static simulator::Config WithAddress(simulator::Config config) {
    const int id = ::getpid();
    config.addresses.at(1) =
        "127.99." + std::to_string(id / 250 % 250 + 1) + "." + std::to_string(id % 250 + 1);
    config.seed = 42;
    return config;
  }
};

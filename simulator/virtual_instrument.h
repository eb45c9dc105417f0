// The module that a daemon runs on: its devices by path, and the machine around them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/instrument.h"
#include "platform/thread_safety.h"
#include "simulator/attributes.h"
#include "simulator/config.h"
#include "simulator/fpga_model.h"
#include "simulator/i2c_board.h"
#include "simulator/mounts.h"
#include "simulator/shell.h"
#include "simulator/signal/leads.h"
#include "simulator/signal/signal_model.h"
#include "simulator/signal/voltage_path.h"
#include "simulator/units.h"

namespace simulator {

/// Which device is at which path.
class DeviceTable {
 public:
  using Opener = std::function<std::unique_ptr<platform::DeviceFile>(int flags, int& error)>;

  /// False when the path is taken already: two devices at one place are a fault of the instrument.
  [[nodiscard]] bool Add(std::string path, Opener opener);
  /// ENOENT for a path without a device.
  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int flags, int& error) const;

 private:
  std::map<std::string, Opener, std::less<>> openers_;
};

class VirtualInstrument final : public platform::Instrument {
 public:
  /// `root` is the directory that is "/". `clock` must outlive the instrument.
  VirtualInstrument(const Config& config, std::string root, platform::Clock& clock);

  /// Empty when the instrument is whole, else which devices clash. Asked once, before use.
  const std::string& Problem() const { return problem_; }
  /// For what is around the instrument and has values or faults of its own.
  simulator::Units& Units() { return units_; }
  /// What the FPGA does to the signals now.
  FpgaSignals Signals() { return fpga_.Signals(); }
  /// Brings the sample stream up to the present; whoever serves the instrument in real time does so
  /// every few milliseconds, so that the ring fills whether or not anybody reads.
  void Update() { fpga_.Update(); }
  /// What feeds the device under test, for a program in place of the source module.
  SignalSource& Source() { return source_; }
  DeviceUnderTest& Device() { return device_; }
  VoltagePath& Path() { return path_; }
  simulator::Leads& Leads() { return leads_; }
  /// Whether no module pulls the ALLOK line down.
  bool AllokUp() const { return fpga_.AllokUp(); }
  double LineHertz() { return fpga_.LineHertz(); }
  /// Null on a module without channel boards; 0 or 1.
  MeasChannelBoard* Channel(std::size_t channel) { return i2c_.Channel(channel); }

  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int flags, int& error) override;
  int System(std::string_view command) override { return shell_.Run(command); }
  int SetRealtime(const timespec& time) override;
  timespec Realtime() override;
  std::string HostAddress() override { return config_.Address(config_.module); }
  void SystemLog(std::string_view line) override;

 private:
  void Place(const std::string& path, DeviceTable::Opener opener);
  std::optional<int> Echo(std::string_view arguments);

  const Config config_;
  const std::string root_;
  platform::Clock& clock_;
  simulator::Units units_;
  I2cBoard i2c_;
  SignalSource source_;
  DeviceUnderTest device_;
  simulator::Leads leads_;
  VoltagePath path_;
  SignalModel signals_;
  DriverCounters counters_;
  FpgaModel fpga_;
  DriverAttributes attributes_;
  Shell shell_;
  Mounts mounts_;
  DeviceTable devices_;
  std::string problem_;
  platform::Mutex time_mutex_;
  /// Time of day less monotonic time, once it has been set.
  std::optional<platform::Nanoseconds> set_time_ Q5_GUARDED_BY(time_mutex_);
  std::mutex log_mutex_;  ///< one line at a time
};

}  // namespace simulator

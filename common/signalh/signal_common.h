// The configuration and status of the measurement channels, for all kinds of test.
//
// Channels are 0 and 1. Any other number is logged and returns -1. Results are counts, 0, or a
// negative status; a transfer that fails on the bus sets no error word here. Threads: the start-up
// thread and the request handlers; SetMeasChCfgReg can take seconds, so it is not for the sample
// threads.
#pragma once

#include <array>
#include <atomic>
#include <functional>

#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/dev/i2c/front_end/meas_channel.h"
#include "common/dev/i2c/front_end/meas_channel_regs.h"

class SignalCommon {
 public:
  /// `module` is the host module id; `i2c` outlives the object.
  SignalCommon(int module, Dev::I2cMgr& i2c);
  virtual ~SignalCommon() = default;

  virtual int Init() { return 0; }

  void SetRevision(int revision) { _rev = revision; }
  int GetRevision() const { return _rev; }

  /// Sets the channel's SPI bridge up; takes 200 ms.
  int IniMeasChI2cSpiBridge(int channel);
  int GetMeasChVersion(int channel, Dev::MeasChCpldIdRev& version);
  /// Dev::kStatusReadFailed when nothing could be read.
  int GetMeasChStaReg(int channel, Dev::MeasChStaReg& status);
  /// The status byte alone.
  int ReadChStatus(int channel, unsigned char* status);

  /// Configures the channel and waits until its CPLD has taken the configuration; then restarts the
  /// converters. 0; -1 with error word 744 when the CPLD stays busy, or with the error words of the
  /// faults that it reports. The last argument has no effect.
  int SetMeasChCfgReg(int channel, const Dev::MeasChCfgReg& config, bool exec_sequence1);

  static bool NotBusyMeasFPGAStatus(unsigned char status);

  /// The FPGA inverts the channels that are wired the other way round on boards of revision 3:
  /// those that measure AC voltage, and the current channel.
  void DoInversionMagic();
  /// The current channel alone; its wiring depends on the module.
  void DoCurrentChannelInversion();

  /// Asks the main module for the filter relay of the low-voltage source: `set` 1 or 0. To be
  /// called before other threads run; without it nothing is sent.
  void SetFilterRelayLink(std::function<void(int set)> send) { _send_relay6 = std::move(send); }
  /// Sets or resets that relay for the present test, or notes that no change is needed.
  void CheckLVSFilterRelay();
  /// True while this daemon has set it.
  bool GetRelay6() const { return relay6; }

  void StartI2cScanner();
  void StopI2cScanner();

  /// Requires 0 or 1.
  Dev::MeasChannel& Channel(int channel) { return _channels[static_cast<std::size_t>(channel)]; }

 protected:
  const int _module;
  Dev::I2cMgr& _i2cMgr;
  const int i2cmodule;  ///< whose devices the channels are
  int _rev = 0;         ///< board revision
  std::atomic<bool> relay6{false};

 private:
  bool IsChannel(int channel, const char* func, int line) const;
  int WriteConfig(int channel, const Dev::MeasChCfgReg& config, unsigned char& status);
  bool WaitWhileBusy(int channel);
  static void RestartConverters();
  void SendRelay6(int set) const;

  std::array<Dev::MeasChannel, 2> _channels;
  std::function<void(int set)> _send_relay6;
};

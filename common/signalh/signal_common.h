// What the daemon does with the measurement channels' configuration and status, whatever test runs.
//
// Channels are 0 and 1. Any other number is told in the log and gives -1. Results are counts, 0, or
// a negative status; a transfer that fails on the bus sets no error word here.
// Threads: the start-up thread and the request handlers; SetMeasChCfgReg can take seconds, so it is
// not for the sample threads.
#pragma once

#include <array>

#include "common/dev/i2c/i2c_mgr.h"
#include "common/dev/i2c/meas_channel.h"
#include "common/dev/i2c/meas_channel_regs.h"

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

  /// Configures the channel and waits until its CPLD has taken it; then restarts the converters. 0;
  /// -1 with error word 744 when the CPLD stays busy, or with the words of the faults it reports.
  /// The last argument has no effect on what is done.
  int SetMeasChCfgReg(int channel, const Dev::MeasChCfgReg& config, bool exec_sequence1);

  static bool NotBusyMeasFPGAStatus(unsigned char status);

  void StartI2cScanner();
  void StopI2cScanner();

  /// Requires 0 or 1.
  Dev::MeasChannel& Channel(int channel) { return _channels[static_cast<std::size_t>(channel)]; }

 protected:
  const int _module;
  Dev::I2cMgr& _i2cMgr;
  const int i2cmodule;  ///< whose devices the channels are
  int _rev = 0;         ///< board revision

 private:
  bool IsChannel(int channel, const char* func, int line) const;
  int WriteConfig(int channel, const Dev::MeasChCfgReg& config, unsigned char& status);
  bool WaitWhileBusy(int channel);
  static void RestartConverters();

  std::array<Dev::MeasChannel, 2> _channels;
};

// The multiplexers between a bus and its chips.
//
// Threads: only the I2C worker selects channels; the map does not change after start-up.
#pragma once

#include <map>
#include <memory>

#include "common/dev/i2c/bus/device.h"
#include "common/dev/i2c/bus/i2c_ch_id.h"
#include "common/dev/i2c/bus/i2c_info.h"

namespace Dev {

class I2cMux : public Device {
 public:
  using Map = std::map<I2cChId, std::unique_ptr<I2cMux>>;

  explicit I2cMux(const I2cMuxInfo& info);

  /// Switches one channel on, all others off. Unless `force`, a channel that is thought to be on
  /// already is left alone. 1, 0 when there was nothing to do, -1 on failure.
  virtual int SetChn(int chn, bool force);
  /// Switches all channels off. 0 or -1.
  virtual int ResetChn();
  /// Not used by the daemon; both return 0.
  virtual int Read(char*, int) { return 0; }
  virtual int Write(char*, int) { return 0; }
  virtual void Show(int level) const;

  /// The path to the multiplexer.
  const I2cChId& Path() const { return _cid; }

  /// All multiplexers by their path.
  static Map& GetMuxs();
  static void AddI2cMux(std::unique_ptr<I2cMux> mux);
  /// Null when there is none at `path`.
  static I2cMux* GetI2cMux(const I2cChId& path);
  /// Creates the module's multiplexers; the second call in a process does nothing.
  static void LoadI2cMuxs(int mid, int rev);

  /// The process's descriptor of bus 1 or 2, opened on first use; -1 (and errno) while it cannot
  /// be. Other numbers stop the process.
  static int GetBusFd(int busid);

 private:
  const char _addr;
  const int _bus;
  const int _chns;
  char _chon = -1;  ///< the channel last switched on; a reset does not change it
  const I2cChId _cid;
};

}  // namespace Dev

// A device that the scanner reads.
#pragma once

#include <optional>
#include <span>

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

/// What a scan rate code of the device table means.
struct ScanRate {
  int code;
  int ticks;  ///< seconds between two reads; 0: once, at the start
};

class I2cJob {
 public:
  /// Nothing for a device that is never scanned. `device` outlives the job.
  static std::optional<I2cJob> For(I2cDev& device);
  static std::span<const ScanRate> GetRates();

  /// One tick. True when the device is due; the count then begins again.
  bool CountDown();
  bool IsPeriodic() const { return _rd_rate > 0; }
  /// Read during a test, too.
  bool GetScanReq() const { return _scanreq; }
  I2cDev& Device() const { return *_i2c_dev; }

 private:
  I2cJob(I2cDev& device, int ticks);

  int _rd_rate;  ///< ticks between reads
  int _counter;
  I2cDev* _i2c_dev;
  bool _scanreq;
};

}  // namespace Dev

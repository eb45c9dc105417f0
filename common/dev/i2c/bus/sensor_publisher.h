// Sends what sensors measure to the fan control of the main module.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "common/dev/i2c/bus/i2c_info.h"

namespace Dev {

/// The kinds of temperature that the fan control distinguishes.
enum SensorType : int {
  kSensorTmp112 = 0,
  kSensorSa56 = 1,
  kSensorDs75 = 2,
  kSensorAd7998 = 3,
  kSensorLvs = 4,
};

/// Supplied by whoever knows the way to the fan control; empty: there is none, and nothing is
/// sent. Set before the scanner starts; called on the I2C worker. Values in degrees Celsius.
using SendTempLink =
    std::function<void(int module, int assembly, int address, int sensortype, float celsius)>;
void SetSendTempLink(SendTempLink link);
void SendTemp(const I2cDevInfo& info, SensorType type, float celsius);

/// The id of a sensor in such a list.
int SensorId(const I2cDevInfo& info);
/// The ids of the module's sensors that count for the fans.
std::vector<int> ListInternalSensors(int mid);

/// Counts the scans of the listed sensors of one class: 0 to 12 and again 0. At 0 a sensor
/// publishes, so at its first scan and every 13th after it. Threads: the I2C worker.
class TempFanCount {
 public:
  /// The count of this scan; -1 for a sensor that is not in `listed`, which is always the same.
  int Advance(const I2cDevInfo& info, std::span<const int> listed);

 private:
  std::vector<int> tempfancnt;  ///< of the next scan, by place in the list
};

}  // namespace Dev

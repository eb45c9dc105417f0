#include "common/dev/i2c/bus/sensor_publisher.h"

#include <algorithm>
#include <utility>

#include "common/dev/i2c/bus/device_table.h"

namespace Dev {
namespace {

constexpr int kScansPerPublication = 13;

SendTempLink send_temp;

int SensorId(int mid, int aid, int addr) { return mid << 16 | aid << 8 | addr; }

bool IsTemperature(const DeviceRow& row) {
  const bool measures = row.rate != 0 && row.rate != kNever;
  return measures && (row.type == TEMP_SENSOR || row.type == MON_ADC);
}

}  // namespace

void SetSendTempLink(SendTempLink link) { send_temp = std::move(link); }

void SendTemp(const I2cDevInfo& info, SensorType type, float celsius) {
  if (send_temp) send_temp(info._mid, info._aid, info._addr, type, celsius);
}

int SensorId(const I2cDevInfo& info) { return SensorId(info._mid, info._aid, info._addr); }

std::vector<int> ListInternalSensors(int mid) {
  std::vector<int> ids;
  for (const DeviceRow& row : kDeviceRows) {
    if (row.modules.Has(mid) && IsTemperature(row)) ids.push_back(SensorId(mid, row.aid, row.addr));
  }
  for (const ChannelSensorRow& row : kChannelSensorRows) {
    if (!kOnSignal.Has(mid)) continue;
    // which of the two it will be is known only when the CPLD has been asked
    for (const int addr : {row.addr_0985, row.addr_1093}) {
      ids.push_back(SensorId(mid, row.aid, addr));
    }
  }
  return ids;
}

int TempFanCount::Advance(const I2cDevInfo& info, std::span<const int> listed) {
  const auto found = std::ranges::find(listed, SensorId(info));
  if (found == listed.end()) return -1;
  tempfancnt.resize(listed.size());
  int& next = tempfancnt[static_cast<std::size_t>(found - listed.begin())];
  const int count = next;
  next = (count + 1) % kScansPerPublication;
  return count;
}

}  // namespace Dev

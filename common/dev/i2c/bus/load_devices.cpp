// From the rows of the table to the objects that drive their chips.
#include <span>
#include <utility>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/drivers.h"
#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/meas_channel_id.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/log/log_line.h"

namespace Dev {
namespace {

constexpr std::uint8_t kOwnChannel = 3;
constexpr std::uint8_t kSharedChannel = 2;

std::uint8_t Channel(std::uint8_t hmux, const Msg::HMPData& state) {
  if (hmux != kSwitched) return hmux;
  return state.GetI2CSwitchSetting() != 0 ? kOwnChannel : kSharedChannel;
}

std::span<const Driver> drivers;  // set before other threads run

void Add(const I2cDevInfo& info) {
  for (const Driver& driver : drivers) {
    if (driver.id != info._id) continue;
    if (driver.type == kAnyType || driver.type == info._type) I2cDev::AddDevice(driver.make(info));
  }
}

/// The DS75S of channel 0 or 1, or nothing (0) when the board's CPLD is not known.
std::uint8_t ChannelSensorAddress(const ChannelSensorRow& row, int channel,
                                  const Msg::HMPData& state) {
  const int id = static_cast<unsigned short>(state.GetCPLDID(channel));
  if (id == MEAS_CHANNEL_ID_0985) return row.addr_0985;
  if (id == MEAS_CHANNEL_ID_1093) return row.addr_1093;
  Q5_LOG_ERROR(i2cmainL, "%s.%d: GetCPLDID(ACQ_CH%d) returned invalid ID:0x%04X\n", "appndDevTbl",
               __LINE__, channel + 1, static_cast<unsigned>(id));
  return 0;
}

}  // namespace

void SetDrivers(std::span<const Driver> of_all_chips) { drivers = of_all_chips; }

void I2cDev::LoadI2cDevices(int mid, int rev, Msg::HMPData& state) {
  state_ = &state;
  static bool loaded = false;
  if (std::exchange(loaded, true)) return;
  for (const DeviceRow& row : kDeviceRows) {
    if (!row.modules.Has(mid)) continue;
    Add({._mid = mid,
         ._aid = row.aid,
         ._type = row.type,
         ._num = row.num,
         ._rate = row.rate,
         ._bus = static_cast<char>(row.bus),
         ._hmux = Channel(row.hmux, *state_),
         ._lmux = row.lmux,
         ._addr = static_cast<char>(row.addr),
         ._id = row.id,
         ._rev = rev,
         ._scanreq = row.scan});
  }
  state.SetInternalSensors(ListInternalSensors(mid));
}

void I2cDev::appndDevTbl(int mid, int rev) {
  if (!kOnSignal.Has(mid)) return;
  int channel = 0;
  for (const ChannelSensorRow& row : kChannelSensorRows) {
    const std::uint8_t address = ChannelSensorAddress(row, channel++, *state_);
    if (address == 0) continue;
    Add({._mid = mid,
         ._aid = row.aid,
         ._type = TEMP_SENSOR,
         ._num = row.num,
         ._rate = kChannelSensorRate,
         ._bus = 2,
         ._hmux = Channel(row.hmux, *state_),
         ._lmux = 4,
         ._addr = static_cast<char>(address),
         ._id = kChannelSensorId,
         ._rev = rev,
         ._scanreq = false});
  }
}

}  // namespace Dev

// From the rows of the table to the objects that drive their chips.
#include <memory>
#include <string_view>
#include <utility>

#include "common/dev/i2c/ad7998_dev.h"
#include "common/dev/i2c/device_table.h"
#include "common/dev/i2c/ds75s_dev.h"
#include "common/dev/i2c/ee24lc32_dev.h"
#include "common/dev/i2c/front_end_chips.h"
#include "common/dev/i2c/i2c_dev.h"
#include "common/dev/i2c/meas_channel_id.h"
#include "common/dev/i2c/nulldev_dev.h"
#include "common/dev/i2c/pca9536_dev.h"
#include "common/dev/i2c/sensor_publisher.h"
#include "common/dev/i2c/si5338_dev.h"
#include "common/dev/i2c/tmp112_dev.h"
#include "common/dev/i2c/tps659112_dev.h"
#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"

namespace Dev {
namespace {

using Logger::i2cmainL;
using Logger::kError;
using Logger::logger_mgr;

constexpr std::uint8_t kOwnChannel = 3;
constexpr std::uint8_t kSharedChannel = 2;

template <class T>
std::unique_ptr<I2cDev> Make(const I2cDevInfo& info) {
  return std::make_unique<T>(info);
}

constexpr int kAnyType = -1;

struct Driver {
  std::string_view id;
  std::unique_ptr<I2cDev> (*make)(const I2cDevInfo&);
  int type = kAnyType;
};

// Rows of chips that are not here have no driver in this program.
constexpr Driver kDrivers[] = {
    {"NULLDEV", Make<NULLDEVDev>},       {"EE24LC32", Make<EE24LC32Dev>},
    {"TPS659112", Make<TPS659112Dev>},   {"TMP112", Make<TMP112Dev>},
    {"PCA9536", Make<PCA9536Dev>},       {"AD7998", Make<AD7998Dev>, MON_ADC},
    {"SC18IS602B", Make<SC18IS602BDev>}, {"DAC8571", Make<DAC8571Dev>},
    {kChannelSensorId, Make<DS75SDev>},  {kClockChipId, Make<SI5338Dev>},
};

std::uint8_t Channel(std::uint8_t hmux) {
  if (hmux != kSwitched) return hmux;
  return Msg::ghmp->GetI2CSwitchSetting() != 0 ? kOwnChannel : kSharedChannel;
}

void Add(const I2cDevInfo& info) {
  for (const Driver& driver : kDrivers) {
    if (driver.id != info._id) continue;
    if (driver.type == kAnyType || driver.type == info._type) I2cDev::AddDevice(driver.make(info));
  }
}

/// The DS75S of channel 0 or 1, or nothing (0) when the board's CPLD is not known.
std::uint8_t ChannelSensorAddress(const ChannelSensorRow& row, int channel) {
  const int id = static_cast<unsigned short>(Msg::ghmp->GetCPLDID(channel));
  if (id == MEAS_CHANNEL_ID_0985) return row.addr_0985;
  if (id == MEAS_CHANNEL_ID_1093) return row.addr_1093;
  logger_mgr::print(i2cmainL, kError, 0, "%s.%d: GetCPLDID(ACQ_CH%d) returned invalid ID:0x%04X\n",
                    "appndDevTbl", __LINE__, channel + 1, static_cast<unsigned>(id));
  return 0;
}

}  // namespace

void I2cDev::LoadI2cDevices(int mid, int rev) {
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
         ._hmux = Channel(row.hmux),
         ._lmux = row.lmux,
         ._addr = static_cast<char>(row.addr),
         ._id = row.id,
         ._rev = rev,
         ._scanreq = row.scan});
  }
  ListInternalSensors(mid);
}

void I2cDev::appndDevTbl(int mid, int rev) {
  if (!kOnSignal.Has(mid)) return;
  int channel = 0;
  for (const ChannelSensorRow& row : kChannelSensorRows) {
    const std::uint8_t address = ChannelSensorAddress(row, channel++);
    if (address == 0) continue;
    Add({._mid = mid,
         ._aid = row.aid,
         ._type = TEMP_SENSOR,
         ._num = row.num,
         ._rate = kChannelSensorRate,
         ._bus = 2,
         ._hmux = Channel(row.hmux),
         ._lmux = 4,
         ._addr = static_cast<char>(address),
         ._id = kChannelSensorId,
         ._rev = rev,
         ._scanreq = false});
  }
}

}  // namespace Dev

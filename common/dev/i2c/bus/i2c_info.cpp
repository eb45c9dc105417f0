#include "common/dev/i2c/bus/i2c_info.h"

#include "common/dev/i2c/bus/device_ids.h"
#include "common/log/log_line.h"

namespace Dev {

std::string DeviceKey(int mid, int aid, int type, int num) {
  return std::to_string(mid) + "." + std::to_string(aid) + "." + std::to_string(type) + "." +
         std::to_string(num);
}

std::string I2cDevInfo::Key() const { return DeviceKey(_mid, _aid, _type, _num); }

void I2cDevInfo::Show(int level) const {
  Q5_LOG_AT(level, i2cmainL,
            "<I2cDevInfo key=%s id=%s rev=%d rate=%d bus=%d hmux=%d lmux=%d addr=0x%02X/>\n",
            Key().c_str(), _id.c_str(), _rev, _rate, _bus, _hmux, _lmux,
            static_cast<unsigned>(_addr));
}

}  // namespace Dev

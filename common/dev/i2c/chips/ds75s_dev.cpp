#include "common/dev/i2c/chips/ds75s_dev.h"

#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/channel_words.h"
#include "common/dev/i2c/chips/temperature.h"
#include "common/log/logger_mgr.h"
#include "common/msg/records/major_codes.h"

namespace Dev {
namespace {

using Logger::ds75sL;
using Logger::kDebug;
using Logger::kInfo;
using Logger::logger_mgr;

constexpr ChipWords kWords[kChannelBoards] = {
    {Msg::NAK_MCODE_I2CIOCTL_DS75_M1, Msg::NAK_MCODE_I2CWRITE_DS75_M1,
     Msg::NAK_MCODE_I2CREADOP_DS75_M1},
    {Msg::NAK_MCODE_I2CIOCTL_DS75_M2, Msg::NAK_MCODE_I2CWRITE_DS75_M2,
     Msg::NAK_MCODE_I2CREADOP_DS75_M2},
    {Msg::NAK_MCODE_I2CIOCTL_DS75_S1, Msg::NAK_MCODE_I2CWRITE_DS75_S1,
     Msg::NAK_MCODE_I2CREADOP_DS75_S1},
    {Msg::NAK_MCODE_I2CIOCTL_DS75_S2, Msg::NAK_MCODE_I2CWRITE_DS75_S2,
     Msg::NAK_MCODE_I2CREADOP_DS75_S2},
};

TempFanCount fan_count;

}  // namespace

int DS75SDev::Read() {
  const int board = ChannelBoard(_info);
  if (board < 0) return -1;
  const int count = fan_count.Advance(_info, InternalSensors());
  float celsius = 0;
  if (ReadCelsius(ChipPath(_info, _fd, "DS75", ds75sL, kWords[board], i2c_report_nak), celsius) < 0)
    return -1;
  if (_aid == MEAS_CH1) {
    logger_mgr::print(ds75sL, kInfo, 0, "DS75/SIGNAL/MEAS_CH1=%f°C\n",
                      static_cast<double>(celsius));
  } else {
    logger_mgr::print(ds75sL, kInfo, 0, "DS75/SIGNAL/MEAS_CH2=%f°C\n",
                      static_cast<double>(celsius));
  }
  logger_mgr::print(ds75sL, kDebug, 0, "%s.%d: fancnt= %d\n", __func__, __LINE__, count);
  if (count == 0) {
    logger_mgr::print(ds75sL, kDebug, 0, "%s.%d: publishing temperature\n", __func__, __LINE__);
    SendTemp(_info, kSensorDs75, celsius);
  }
  return 0;
}

}  // namespace Dev

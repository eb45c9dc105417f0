#include "common/dev/i2c/chips/ds75s_dev.h"

#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/channel_words.h"
#include "common/dev/i2c/chips/temperature.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"

namespace Dev {
namespace {

using Logger::ds75sL;

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
    Q5_LOG_INFO(ds75sL, "DS75/SIGNAL/MEAS_CH1=%f°C\n", static_cast<double>(celsius));
  } else {
    Q5_LOG_INFO(ds75sL, "DS75/SIGNAL/MEAS_CH2=%f°C\n", static_cast<double>(celsius));
  }
  Q5_LOG_DEBUG_HERE(ds75sL, "%s.%d: fancnt= %d\n", count);
  if (count == 0) {
    Q5_LOG_DEBUG_HERE(ds75sL, "%s.%d: publishing temperature\n");
    SendTemp(_info, kSensorDs75, celsius);
  }
  return 0;
}

}  // namespace Dev

#include "common/dev/i2c/chips/tmp112_dev.h"

#include "common/dev/i2c/bus/chip_path.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/temperature.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"

namespace Dev {
namespace {

using Logger::tmp112L;

constexpr ChipWords kMainWords{Msg::NAK_MCODE_I2CIOCTL_TMP112_MAIN,
                               Msg::NAK_MCODE_I2CWRITE_TMP112_MAIN,
                               Msg::NAK_MCODE_I2CREADOP_TMP112_MAIN};
constexpr ChipWords kMainCoreWords{Msg::NAK_MCODE_I2CIOCTL_TMP112_MAINC,
                                   Msg::NAK_MCODE_I2CWRITE_TMP112_MAINC,
                                   Msg::NAK_MCODE_I2CREADOP_TMP112_MAINC};
constexpr ChipWords kMeasWords{Msg::NAK_MCODE_I2CIOCTL_TMP112_MEASC,
                               Msg::NAK_MCODE_I2CWRITE_TMP112_MEASC,
                               Msg::NAK_MCODE_I2CREADOP_TMP112_MEASC};
constexpr ChipWords kSourceWords{Msg::NAK_MCODE_I2CIOCTL_TMP112_SRCC,
                                 Msg::NAK_MCODE_I2CWRITE_TMP112_SRCC,
                                 Msg::NAK_MCODE_I2CREADOP_TMP112_SRCC};

ChipWords WordsOf(const I2cDevInfo& info) {
  if (info._mid == Msg::MEAS_MODULE) return kMeasWords;
  if (info._mid == Msg::SOURCE_MODULE) return kSourceWords;
  return info._aid == CORE ? kMainCoreWords : kMainWords;
}

const char* ModuleName(int mid) {
  if (mid == Msg::MEAS_MODULE) return "MEAS";
  return mid == Msg::SOURCE_MODULE ? "SOURCE" : "MAIN";
}

TempFanCount fan_count;

}  // namespace

int TMP112Dev::Read() {
  Q5_LOG_DEBUG(tmp112L, "HERE TMP112 %x\n", static_cast<unsigned>(_addr));
  const int count = fan_count.Advance(_info, InternalSensors());
  float celsius = 0;
  if (ReadCelsius(ChipPath(_info, _fd, "TMP112", tmp112L, WordsOf(_info), i2c_report_nak),
                  celsius) < 0)
    return -1;
  Q5_LOG_INFO(tmp112L, "TMP112/%s/FP_SRCMEAS=%f°C\n", ModuleName(_mid),
              static_cast<double>(celsius));
  if (count == 0) SendTemp(_info, kSensorTmp112, celsius);
  return 0;
}

}  // namespace Dev

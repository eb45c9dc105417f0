#include "common/dev/i2c/chips/ad7998_dev.h"

#include <array>

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/channel_words.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"

namespace Dev {
namespace {

using Logger::ad7998L;

constexpr int kChannels = 8;
constexpr float kSteps = 4096.0F;
constexpr std::size_t kReferenceTemperature = 5;
constexpr unsigned char kCycleTimerOff[] = {3, 0};
constexpr unsigned char kCycleTimerOn[] = {3, 5};
/// Configuration (register 2): all eight channels, alert pin off; then the cycle timer.
constexpr unsigned char kSetUp[] = {2, 0x0F, 0xFC, 3, 5};
constexpr int kFansTurn = 0x1800;  ///< both fans of a signal module

constexpr ChipWords kWords[kChannelBoards] = {
    {Msg::NAK_MCODE_I2CIOCTL_AD7998_M1, Msg::NAK_MCODE_I2CWRITE_AD7998_M1,
     Msg::NAK_MCODE_I2CREADOP_AD7998_M1},
    {Msg::NAK_MCODE_I2CIOCTL_AD7998_M2, Msg::NAK_MCODE_I2CWRITE_AD7998_M2,
     Msg::NAK_MCODE_I2CREADOP_AD7998_M2},
    {Msg::NAK_MCODE_I2CIOCTL_AD7998_S1, Msg::NAK_MCODE_I2CWRITE_AD7998_S1,
     Msg::NAK_MCODE_I2CREADOP_AD7998_S1},
    {Msg::NAK_MCODE_I2CIOCTL_AD7998_S2, Msg::NAK_MCODE_I2CWRITE_AD7998_S2,
     Msg::NAK_MCODE_I2CREADOP_AD7998_S2},
};
constexpr int kBootWords[kChannelBoards] = {
    Msg::NAK_MCODE_I2CWRITE_BOOT_AD7998_M1, Msg::NAK_MCODE_I2CWRITE_BOOT_AD7998_M2,
    Msg::NAK_MCODE_I2CWRITE_BOOT_AD7998_S1, Msg::NAK_MCODE_I2CWRITE_BOOT_AD7998_S2};

/// A rail: value = share of full scale * `own` + share of channel 2 * `of_plus_5v`. The negative
/// rails hang on a divider to the +5 V rail, which channel 2 measures.
struct Rail {
  const char* name;
  float own;
  float of_plus_5v;
};
constexpr std::size_t kPlus5V = 2;
constexpr Rail kRails[kChannels] = {
    {"+12V", 15, 0},    {"-12V", 12, -18},    {"+5V", 6, 0},
    {"-5V", 9, -12},    {"+3V", 4.5F, 0},     {"Ref Temp (°C)", 0, 0},  // see ReferenceCelsius
    {"+3.3V", 4.5F, 0}, {"Offset DAC", 3, 0},
};

using Codes = std::array<int, kChannels>;

float ReferenceCelsius(int code) { return static_cast<float>(code - 695) / 3.6F; }

float ValueOf(const Codes& codes, std::size_t channel) {
  if (channel == kReferenceTemperature) return ReferenceCelsius(codes[channel]);
  const Rail& rail = kRails[channel];
  return static_cast<float>(codes[channel]) / kSteps * rail.own +
         static_cast<float>(codes[kPlus5V]) / kSteps * rail.of_plus_5v;
}

int ReadCodes(ChipPath& path, Codes& codes) {
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    const auto convert = static_cast<unsigned char>((channel << 4) + 0x80);
    unsigned char word[2] = {};
    if (path.Write({&convert, 1}) < 0 || path.Read(word) < 0) return -1;
    codes[channel] = (word[0] & 0x0F) << 8 | word[1];  // the top nibble says which channel it is
  }
  return 0;
}

TempFanCount fan_count;

}  // namespace

int AD7998Dev::Read() {
  const int board = ChannelBoard(_info);
  if (board < 0) return -1;
  ChipPath path(_info, _fd, "AD7998", ad7998L, kWords[board], i2c_report_nak);
  if (path.Open() < 0) return -1;
  return _rate == 0 ? ReadBoot(path, board) : ReadScan(path);
}

int AD7998Dev::ReadBoot(ChipPath& path, int board) {
  return path.Write(kSetUp, kBootWords[board], "/MEAS_SOURCE ERROR");
}

int AD7998Dev::ReadScan(ChipPath& path) {
  Codes codes{};
  if (path.Write(kCycleTimerOff) < 0 || ReadCodes(path, codes) < 0) return -1;
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    const auto value = static_cast<double>(ValueOf(codes, channel));
    if (_aid == MEAS_CH1) {
      Q5_LOG_INFO(ad7998L, "ADC7998/SIGNAL/MEAS_CH1/%s=%f\n", kRails[channel].name, value);
    } else {
      Q5_LOG_INFO(ad7998L, "ADC7998/SIGNAL/MEAS_CH2/%s=%f\n", kRails[channel].name, value);
    }
  }
  if (fan_count.Advance(_info, InternalSensors()) == 0) {
    SendTemp(_info, kSensorAd7998, ValueOf(codes, kReferenceTemperature));
  }
  if (path.Write(kCycleTimerOn) < 0) return -1;
  CheckFans();
  return 0;
}

void AD7998Dev::CheckFans() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  const int status = fpga == nullptr ? -1 : fpga->GetMiscContStat2();
  if (status < 0 || (status & kFansTurn) == kFansTurn) return;  // a failed read is logged there
  i2c_report_nak(Msg::NAK_MCODE_SIGMOD_FAN_FAIL, status);
  Q5_LOG_ERROR(ad7998L, "Signal Module Fan Failure 0x%x\n", static_cast<unsigned>(status));
}

}  // namespace Dev

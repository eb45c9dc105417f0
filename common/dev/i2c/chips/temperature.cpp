#include "common/dev/i2c/chips/temperature.h"

namespace Dev {
namespace {

constexpr float kFahrenheitPerCelsius = 1.8F;
constexpr float kFahrenheitOffset = 32.0F;
constexpr unsigned char kTemperatureRegister = 0;

}  // namespace

float temp_ctoc(int raw) {
  const bool negative = (raw & 0x8000) != 0;
  const int word = (negative ? -raw : raw) & 0xFFFF;
  const float celsius = static_cast<float>(word >> 8) + static_cast<float>(word & 0xFF) / 256.0F;
  return negative ? -celsius : celsius;
}

float temp_ctof(int raw) { return temp_ctoc(raw) * kFahrenheitPerCelsius + kFahrenheitOffset; }

int ReadCelsius(ChipPath&& path, float& celsius) {
  unsigned char word[2] = {};
  if (path.Open() < 0 || path.Write({&kTemperatureRegister, 1}) < 0 || path.Read(word) < 0) {
    return -1;
  }
  celsius = temp_ctoc(word[0] << 8 | word[1]);
  return 0;
}

}  // namespace Dev

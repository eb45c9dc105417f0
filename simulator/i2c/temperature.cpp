#include "simulator/i2c/temperature.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::uint8_t kTemperature = 0;
constexpr std::uint8_t kConfiguration = 1;
constexpr std::uint16_t kAll = 0xFFFF;
constexpr std::uint16_t kNone = 0;

constexpr RegisterInfo kTmp112Registers[] = {
    {kTemperature, "TEMPERATURE", kNone},
    {kConfiguration, "CONFIGURATION", 0x9FD0, 0x60A0},
    {2, "T_LOW", 0xFFF0, 0x4B00},
    {3, "T_HIGH", 0xFFF0, 0x5000},
};
// The configuration register is a single byte, and so the upper one of its word here.
constexpr RegisterInfo kDs75Registers[] = {
    {kTemperature, "TEMPERATURE", kNone},
    {kConfiguration, "CONFIGURATION", 0x7F00},
    {2, "T_HYST", kAll, 0x4B00},
    {3, "T_OS", kAll, 0x5000},
};
constexpr RegisterChip::Shape kShape = {2, RegisterChip::Pointer::kStays, 0x03};

constexpr double kColdest = -55.0;
constexpr double kHottest = 127.9375;
constexpr int kCountsPerDegree = 256;
constexpr int kWordBits = 16;
constexpr int kTmp112Bits = 12;
constexpr int kDs75LeastBits = 9;
constexpr int kDs75ResolutionShift = 13;  // R0, R1: bits 5 and 6 of the upper byte

std::span<const RegisterInfo> Registers(TemperatureSensor::Part part) {
  if (part == TemperatureSensor::Part::kTmp112) return kTmp112Registers;
  return kDs75Registers;
}

}  // namespace

TemperatureSensor::TemperatureSensor(std::string name, const Surroundings& around, Part part)
    : RegisterChip(std::move(name), around, Registers(part), kShape), part_(part) {
  AddValue(
      around.units, "temperature", [this] { return std::to_string(temperature_); },
      [this](std::string_view text) {
        const auto value = ParseReal(text, kColdest, kHottest);
        if (value) temperature_ = *value;
        return value.has_value();
      });
}

int TemperatureSensor::Bits() const {
  if (part_ == Part::kTmp112) return kTmp112Bits;
  return kDs75LeastBits + (*registers_.Read(kConfiguration) >> kDs75ResolutionShift & 3);
}

void TemperatureSensor::Refresh(std::uint8_t pointer) {
  if (pointer != kTemperature) return;
  const int step = 1 << (kWordBits - Bits());
  const int counts = static_cast<int>(std::lround(temperature_ * kCountsPerDegree / step)) * step;
  registers_.Drive(kTemperature, static_cast<std::uint16_t>(counts));
}

std::string TemperatureSensor::Describe() const {
  const auto word = static_cast<std::int16_t>(*registers_.Read(kTemperature));
  char text[32];
  std::snprintf(text, sizeof text, "%.4f degC", static_cast<double>(word) / kCountsPerDegree);
  return text;
}

}  // namespace simulator

#include "simulator/i2c/temperature.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr double kColdest = -55;
constexpr double kHottest = 150;
constexpr int kWordBits = 16;
constexpr RegisterChip::Shape kShape = {2, RegisterChip::Pointer::kStays, 0x03};

// The configuration register is a single byte, and so the upper one of its word here.
constexpr RegisterInfo kDs75Registers[] = {
    {0, "TEMPERATURE", 0},
    {1, "CONFIGURATION", 0x7F00},
    {2, "T_HYST", 0xFFFF, 0x4B00},
    {3, "T_OS", 0xFFFF, 0x5000},
};
constexpr int kDs75LeastBits = 9;
constexpr int kDs75ResolutionShift = 13;  // R0, R1: bits 5 and 6 of the upper byte

}  // namespace

TemperatureSensor::TemperatureSensor(std::string name, const Surroundings& around,
                                     std::span<const RegisterInfo> table)
    : RegisterChip(std::move(name), around, table, kShape) {
  AddValue(
      around.units, "temperature", [this] { return std::to_string(temperature_); },
      [this](std::string_view text) {
        const auto value = ParseReal(text, kColdest, kHottest);
        if (!value) return false;
        Follow();
        temperature_ = *value;
        Follow();
        return true;
      });
}

int TemperatureSensor::Word() const {
  const int step = 1 << (kWordBits - Bits());
  const auto steps = static_cast<int>(std::lround(measured_ * CountsPerDegree() / step));
  return std::min(steps * step, (1 << (kWordBits - 1)) - step);
}

void TemperatureSensor::Refresh(std::uint8_t pointer) {
  if (pointer == kTemperature) registers_.Drive(pointer, static_cast<std::uint16_t>(Word()));
}

std::string TemperatureSensor::Describe() const {
  char text[32];
  std::snprintf(text, sizeof text, "%.4f degC", static_cast<double>(Word()) / CountsPerDegree());
  return text;
}

Ds75::Ds75(std::string name, const Surroundings& around)
    : TemperatureSensor(std::move(name), around, kDs75Registers) {}

int Ds75::Bits() const {
  return kDs75LeastBits + (*registers_.Read(kConfiguration) >> kDs75ResolutionShift & 3);
}

}  // namespace simulator

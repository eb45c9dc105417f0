#include "simulator/i2c/small_chips.h"

namespace simulator {
namespace {

enum Pca9536Register : std::uint8_t { kInput, kOutput, kPolarity, kConfiguration };

constexpr RegisterInfo kPca9536Registers[] = {
    {kInput, "INPUT", 0x00},
    {kOutput, "OUTPUT", 0xFF, 0xFF},
    {kPolarity, "POLARITY", 0xFF, 0x00},
    {kConfiguration, "CONFIGURATION", 0xFF, 0xFF},
};
constexpr std::uint16_t kPulledUp = 0xFF;

constexpr RegisterInfo kTps659112Registers[] = {
    {0x20, "VIO", 0xFF},     {0x21, "VDD1", 0xFF},       {0x24, "VDD2", 0xFF},
    {0x3F, "DEVCTRL", 0xFF}, {0x40, "DEVCTRL2", 0xFF},   {0x50, "INT_STS", 0xFF},
    {0x51, "INT_MSK", 0xFF}, {0x80, "JTAGVERNUM", 0x00},
};

}  // namespace

Pca9536::Pca9536(std::string name, const Surroundings& around)
    : RegisterChip(std::move(name), around, kPca9536Registers, {1, Pointer::kStays, 0x03}) {}

void Pca9536::Refresh(std::uint8_t pointer) {
  if (pointer != kInput) return;
  const unsigned inputs = *registers_.Read(kConfiguration);
  const unsigned pins = (kPulledUp & inputs) | (*registers_.Read(kOutput) & ~inputs);
  registers_.Drive(kInput, static_cast<std::uint16_t>((pins ^ *registers_.Read(kPolarity)) & 0xFF));
}

Tps659112::Tps659112(std::string name, const Surroundings& around)
    : RegisterChip(std::move(name), around, kTps659112Registers, {1, Pointer::kAdvances, 0xFF}) {}

}  // namespace simulator

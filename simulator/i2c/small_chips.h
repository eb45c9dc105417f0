// Chips that are nothing but their registers: the GPIO expander PCA9536 and the power manager
// TPS659112.
#pragma once

#include "simulator/i2c/register_chip.h"

namespace simulator {

/// Four pins; those that are inputs read high, as the board pulls them up.
class Pca9536 final : public RegisterChip {
 public:
  Pca9536(std::string name, const Surroundings& around);

 private:
  void Refresh(std::uint8_t pointer) override;
};

/// The registers of the supplies, the interrupts and the device control; nothing is switched.
class Tps659112 final : public RegisterChip {
 public:
  Tps659112(std::string name, const Surroundings& around);
};

}  // namespace simulator

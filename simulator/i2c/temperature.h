// A temperature sensor with a pointer and four registers: the temperature, left-aligned in a word,
// the configuration, and two limits. The base of TMP112 and DS75.
//
// Value: NAME.temperature, the true temperature at the sensor in degrees Celsius, -55 to 150.
#pragma once

#include "simulator/i2c/register_chip.h"

namespace simulator {

class TemperatureSensor : public RegisterChip {
 protected:
  enum Register : std::uint8_t { kTemperature, kConfiguration, kLow, kHigh };

  TemperatureSensor(std::string name, const Surroundings& around,
                    std::span<const RegisterInfo> table);

  /// Words are in 1 / CountsPerDegree() of a degree; the part resolves the upper Bits() of them.
  virtual int CountsPerDegree() const { return 256; }
  virtual int Bits() const = 0;
  /// Called before and after the true temperature changes.
  virtual void Follow() {}

  void Refresh(std::uint8_t pointer) override;
  std::string Describe() const override;

  double temperature_ = 31.0;
  double measured_ = temperature_;  ///< by the last conversion; follows at once unless stopped

 private:
  int Word() const;
};

/// Resolves 9 to 12 bits. Left out: what its alert pin does.
class Ds75 final : public TemperatureSensor {
 public:
  Ds75(std::string name, const Surroundings& around);

 private:
  int Bits() const override;
  void Follow() override { measured_ = temperature_; }
};

}  // namespace simulator

// The temperature sensors TMP112 and DS75: a reading in 1/256 of a degree, left-aligned, of which
// the part resolves 9 to 12 bits.
//
// Value: NAME.temperature, the true temperature at the sensor in degrees Celsius.
#pragma once

#include "simulator/i2c/register_chip.h"

namespace simulator {

class TemperatureSensor : public RegisterChip {
 public:
  enum class Part { kTmp112, kDs75 };

  TemperatureSensor(std::string name, const Surroundings& around, Part part);

 private:
  void Refresh(std::uint8_t pointer) override;
  std::string Describe() const override;
  int Bits() const;

  const Part part_;
  double temperature_ = 31.0;
};

}  // namespace simulator

// The temperature sensor TMP112: 12 bits, or 13 in its extended mode, shutdown with one-shot
// conversions, and the alert bit with its limits and fault queue.
//
// Source: the vendor's data sheet. While it converts continuously the register shows the present
// temperature; the wait for the next conversion (at most 4 s) shows in the fault queue alone. The
// alert pin leads nowhere here, so the interrupt mode, which changes the pin alone, does nothing.
#pragma once

#include <optional>

#include "simulator/i2c/temperature.h"

namespace simulator {

class Tmp112 final : public TemperatureSensor {
 public:
  Tmp112(std::string name, const Surroundings& around);

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int CountsPerDegree() const override;
  int Bits() const override;
  void Follow() override;
  void Refresh(std::uint8_t pointer) override;

  bool Has(unsigned configuration_bit) const;
  void FollowAlert();
  double Limit(std::uint8_t pointer) const;

  bool beyond_ = false;  ///< over T_HIGH, and not yet under T_LOW again
  std::optional<platform::Nanoseconds> faults_since_;  ///< conversions that ask for the change
  std::optional<platform::Nanoseconds> one_shot_ends_;
  bool one_shot_done_ = false;
};

}  // namespace simulator

// The SC18IS602B, an I2C-to-SPI bridge: the first byte of a write selects the SPI slave, the bytes
// behind it are shifted out, and a read returns the bytes that were shifted in meanwhile.
#pragma once

#include <vector>

#include "simulator/i2c/chip.h"
#include "simulator/meas_cpld.h"

namespace simulator {

/// With the fault "wrong" the board behind it identifies itself as the other generation.
class Sc18is602b final : public I2cChip {
 public:
  Sc18is602b(std::string name, const Surroundings& around, MeasCpld& cpld)
      : I2cChip(std::move(name), around, Identity::kCanBeWrong), cpld_(cpld) {}

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override { return cpld_.Describe(); }

  MeasCpld& cpld_;
  std::vector<std::uint8_t> buffer_;  ///< what the last SPI transfer shifted in
};

}  // namespace simulator

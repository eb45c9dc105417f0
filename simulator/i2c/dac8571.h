// The offset DAC of a channel board: four channels of 16 bits behind one address.
//
// Values: NAME.dac0 to NAME.dac3.
#pragma once

#include "simulator/i2c/chip.h"
#include "simulator/meas_channel_board.h"

namespace simulator {

class Dac8571 final : public I2cChip {
 public:
  Dac8571(std::string name, const Surroundings& around, MeasChannelBoard& board);

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;

  MeasChannelBoard& board_;
  std::size_t channel_ = 0;  ///< that a read returns
};

}  // namespace simulator

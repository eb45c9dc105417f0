// The AD7998, an ADC of eight 12-bit channels, as the monitor of a channel board's supply rails.
//
// Values: NAME.rail0 to NAME.rail6, what each channel monitors in volts (rail5: degrees Celsius).
// Channel 7 monitors the output of offset DAC 0.
#pragma once

#include <array>

#include "simulator/i2c/chip.h"
#include "simulator/meas_channel_board.h"

namespace simulator {

class Ad7998 final : public I2cChip {
 public:
  static constexpr std::size_t kChannels = 8;

  Ad7998(std::string name, const Surroundings& around, const MeasChannelBoard& board);

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;

  std::uint16_t RegisterValue(std::uint8_t pointer);
  std::uint16_t Convert();
  std::uint16_t Code(std::size_t channel) const;
  double Rail(std::size_t channel) const;

  const MeasChannelBoard& board_;
  std::array<double, kChannels> rails_;
  std::uint8_t pointer_ = 0;
  std::size_t channel_ = 0;  ///< that the last command or cycle converted
  std::uint16_t configuration_;
  std::uint8_t cycle_timer_ = 0;
};

}  // namespace simulator

// The PCA9544A, a multiplexer of four channels with one control register.
#pragma once

#include "simulator/i2c/chip.h"

namespace simulator {

class Pca9544a final : public I2cChip {
 public:
  /// How the control register selects: boards above revision 2 have a part with a bit a channel,
  /// which can switch several on; the older part has an enable bit and a channel number.
  enum class Select { kNumber, kOneHot };

  Pca9544a(std::string name, const Surroundings& around, Select select)
      : I2cChip(std::move(name), around), select_(select) {}

  /// A bit for each channel that is on.
  unsigned Channels() const;

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;
  unsigned ChannelsLocked() const;

  const Select select_;
  std::uint8_t control_ = 0;
};

}  // namespace simulator

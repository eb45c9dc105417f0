// A chip that is a pointer and registers: the first byte of a write sets the pointer, the bytes
// behind it set the register, the most significant first; a read returns the register's bytes.
#pragma once

#include "simulator/i2c/chip.h"
#include "simulator/register_file.h"

namespace simulator {

class RegisterChip : public I2cChip {
 public:
  enum class Pointer { kStays, kAdvances };  ///< after each whole register of a transfer
  struct Shape {
    std::size_t width;  ///< bytes of a register: 1 or 2
    Pointer pointer;
    std::uint8_t pointer_mask;  ///< bits of the pointer that the chip looks at
  };

  /// `table` outlives the chip. Reads of a missing register return 0xFF.
  RegisterChip(std::string name, const Surroundings& around, std::span<const RegisterInfo> table,
               const Shape& shape)
      : I2cChip(std::move(name), around), registers_(table), shape_(shape) {}

 protected:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;
  /// Brings a register up to date with what it measures, before it is read.
  virtual void Refresh(std::uint8_t) {}

  RegisterFile registers_;

 private:
  void Advance();

  const Shape shape_;
  std::uint8_t pointer_ = 0;
};

}  // namespace simulator

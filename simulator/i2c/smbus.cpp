#include "simulator/i2c/smbus.h"

#include <linux/i2c.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

namespace simulator {
namespace {

/// One transaction as bytes on the wire: the command, then `length` bytes one way.
struct Shape {
  std::uint32_t size;
  bool has_command;
  std::size_t length;
  std::size_t place;  ///< of the first byte in the request's data block
};

constexpr Shape kShapes[] = {
    {I2C_SMBUS_QUICK, false, 0, 0},
    {I2C_SMBUS_BYTE_DATA, true, 1, 0},
    {I2C_SMBUS_WORD_DATA, true, 2, 0},
};
constexpr Shape kReadByte = {I2C_SMBUS_BYTE, false, 1, 0};
constexpr Shape kWriteByte = {I2C_SMBUS_BYTE, true, 0, 0};

/// 0 or the errno of a request that cannot be carried out.
int FindShape(const platform::SmbusTransfer& transfer, Shape& shape) {
  if (transfer.size > I2C_SMBUS_I2C_BLOCK_DATA) return -EINVAL;
  const bool reads = transfer.read_write == I2C_SMBUS_READ;
  if (!reads && transfer.read_write != I2C_SMBUS_WRITE) return -EINVAL;
  const auto* found = std::ranges::find(kShapes, transfer.size, &Shape::size);
  if (found != std::end(kShapes)) {
    shape = *found;
  } else if (transfer.size == I2C_SMBUS_BYTE) {
    shape = reads ? kReadByte : kWriteByte;
  } else if (transfer.size == I2C_SMBUS_I2C_BLOCK_DATA ||
             transfer.size == I2C_SMBUS_I2C_BLOCK_BROKEN) {
    shape = {transfer.size, true, transfer.data[0], 1};
    if (reads && transfer.size == I2C_SMBUS_I2C_BLOCK_BROKEN) shape.length = I2C_SMBUS_BLOCK_MAX;
    if (shape.length > I2C_SMBUS_BLOCK_MAX) return -EINVAL;
  } else {
    return -EOPNOTSUPP;
  }
  return shape.length + shape.place > 0 && transfer.has_data == 0 ? -EINVAL : 0;
}

}  // namespace

int TransferSmbus(I2cBus& bus, std::uint8_t address, platform::SmbusTransfer& transfer) {
  Shape shape{};
  if (const int error = FindShape(transfer, shape); error != 0) return error;
  const auto block = std::span(transfer.data).subspan(shape.place, shape.length);
  std::array<std::uint8_t, 1 + I2C_SMBUS_BLOCK_MAX> sent{transfer.command};
  std::size_t size = shape.has_command ? 1 : 0;
  if (transfer.read_write == I2C_SMBUS_READ) {
    const I2cBus::Phase phase = size > 0 && block.empty() ? I2cBus::Phase::kWrite
                                : size > 0                ? I2cBus::Phase::kWriteRead
                                                          : I2cBus::Phase::kRead;
    const int error = bus.Transact(address, phase, std::span(sent).first(size), block);
    if (error == 0 && shape.place == 1) {
      transfer.data[0] = static_cast<std::uint8_t>(shape.length);
    }
    return error;
  }
  std::ranges::copy(block, sent.begin() + static_cast<std::ptrdiff_t>(size));
  size += block.size();
  return bus.Transact(address, I2cBus::Phase::kWrite, std::span(sent).first(size), {});
}

}  // namespace simulator

// The requests that can reach a device model, and how each one's argument travels.
//
// A real driver follows the caller's pointer; a model in another process cannot, so every request
// that may cross is named here with the shape of its argument. Both ends use this table, and
// requests that are not in it fail with ENOTTY. Q5FPGA_CMD_SET_IP is left out on purpose: its
// record carries the address of a text in 32 bits, which cannot hold an address of the machine that
// runs the models.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace platform {

enum class IoctlArgument : std::uint8_t {
  kValue,   ///< the argument itself is the value
  kRecord,  ///< the address of a record, in and out
  kSmbus,   ///< an i2c_smbus_ioctl_data, whose own pointer is replaced by the data (SmbusTransfer)
};

struct IoctlShape {
  unsigned long request;
  IoctlArgument argument;
  std::size_t size;  ///< bytes that travel, both ways
};

/// I2C_SMBUS as a device model sees it: the kernel's record with its data block in place.
struct SmbusTransfer {
  std::uint8_t read_write;  ///< I2C_SMBUS_READ or I2C_SMBUS_WRITE
  std::uint8_t command;
  std::uint8_t has_data;  ///< 0 when the caller gave no data block
  std::uint8_t reserved;
  std::uint32_t size;  ///< an I2C_SMBUS_... transaction type
  std::array<std::uint8_t, 34> data;
  std::array<std::uint8_t, 2> padding;
};
static_assert(sizeof(SmbusTransfer) == 44);

inline constexpr std::size_t kMaxIoctlBytes = sizeof(SmbusTransfer);

/// Null for a request that cannot cross.
const IoctlShape* FindIoctl(unsigned long request);

/// Bytes of the record that a read(2) of this device takes in and returns; 0 for a device whose
/// reads take nothing.
std::size_t ReadRecordBytes(std::string_view path);

/// The argument of one ioctl call as bytes, and back. Requires the caller's argument to be valid,
/// as the kernel does.
class IoctlMarshal {
 public:
  IoctlMarshal(const IoctlShape& shape, void* argument);
  std::span<std::byte> Bytes() { return {bytes_.data(), shape_.size}; }
  /// Hands what the device changed back to the caller.
  void Return() const;

 private:
  const IoctlShape& shape_;
  void* argument_;
  alignas(std::int64_t) std::array<std::byte, kMaxIoctlBytes> bytes_{};
};

}  // namespace platform

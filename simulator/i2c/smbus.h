// The I2C_SMBUS request of a bus: SMBus transactions put together from plain transfers, as the
// kernel does for an adapter that knows no SMBus of its own.
#pragma once

#include <cstdint>

#include "platform/ioctl_table.h"
#include "simulator/i2c/bus.h"

namespace simulator {

/// 0 or a negative errno: EINVAL for a request that the kernel would refuse, EOPNOTSUPP for the
/// transactions that no chip here knows (process calls and blocks that carry their own length), EIO
/// when the chip takes or returns less than the transaction has. Threads: any.
int TransferSmbus(I2cBus& bus, std::uint8_t address, platform::SmbusTransfer& transfer);

}  // namespace simulator

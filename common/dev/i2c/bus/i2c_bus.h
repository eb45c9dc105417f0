// The buses as the kernel offers them: one device file each.
#pragma once

#include <cstdint>

namespace Dev {

inline constexpr int kBuses = 2;

/// "/dev/i2c-1" or "/dev/i2c-2".
const char* BusDevice(int bus);
/// A new descriptor of bus 1 or 2, read-write; -1 with errno.
int OpenBus(int bus);
/// Makes `addr` the chip that reads and writes of `fd` go to. 0, or -1 with errno.
int SelectAddress(int fd, int addr);
/// How often the adapter tries again when a chip does not answer. 0, or -1 with errno.
int SetRetries(int fd, int count);
/// One SMBus byte from (I2C_SMBUS_READ) or to `command` of the chip selected on `fd`, outside the
/// worker's thread. 0, or -1 with errno; ETIMEDOUT after a second, or at the end of the thread's
/// budget: such a transfer may still be carried out later.
/// While one is late, others fail at once with EBUSY.
int TransferByte(int fd, char read_write, std::uint8_t command, std::uint8_t& value);

}  // namespace Dev

// The buses as the kernel offers them: one device file each.
#pragma once

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

}  // namespace Dev

#include "common/dev/i2c/i2c_bus.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>

#include <cassert>
#include <cstdint>

#include "platform/backend.h"

namespace Dev {
namespace {

constexpr const char* kBusDevices[kBuses] = {"/dev/i2c-1", "/dev/i2c-2"};

/// A request that takes its argument by value in the place of a pointer.
int IoctlByValue(int fd, unsigned long request, int value) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  void* argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(value));
  return platform::Machine().Ioctl(fd, request, argument) < 0 ? -1 : 0;
}

}  // namespace

const char* BusDevice(int bus) {
  assert(bus == 1 || bus == 2);
  return kBusDevices[bus - 1];
}

int OpenBus(int bus) { return platform::Machine().Open(BusDevice(bus), O_RDWR | O_CLOEXEC); }

int SelectAddress(int fd, int addr) { return IoctlByValue(fd, I2C_SLAVE, addr); }

int SetRetries(int fd, int count) { return IoctlByValue(fd, I2C_RETRIES, count); }

}  // namespace Dev

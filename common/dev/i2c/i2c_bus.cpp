#include "common/dev/i2c/i2c_bus.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>

#include <cassert>
#include <cstdint>

#include "platform/backend.h"

namespace Dev {
namespace {

constexpr const char* kBusDevices[kBuses] = {"/dev/i2c-1", "/dev/i2c-2"};

}  // namespace

const char* BusDevice(int bus) {
  assert(bus == 1 || bus == 2);
  return kBusDevices[bus - 1];
}

int OpenBus(int bus) { return platform::Machine().Open(BusDevice(bus), O_RDWR | O_CLOEXEC); }

int SelectAddress(int fd, int addr) {
  // the request takes the address by value in the place of a pointer
  void* value = reinterpret_cast<void*>(static_cast<std::intptr_t>(addr));
  return platform::Machine().Ioctl(fd, I2C_SLAVE, value) < 0 ? -1 : 0;
}

}  // namespace Dev

#include "common/dev/i2c/bus/i2c_bus.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cassert>
#include <cerrno>
#include <cstdint>
#include <memory>

#include "platform/backend.h"
#include "platform/timed_calls.h"

namespace Dev {
namespace {

constexpr const char* kBusDevices[kBuses] = {"/dev/i2c-1", "/dev/i2c-2"};

constexpr auto kByteLimit = std::chrono::seconds(1);

/// A transfer with its memory.
struct ByteTransfer {
  i2c_smbus_data data{};
  i2c_smbus_ioctl_data request{};
};

platform::TimedCalls& Transfers() {
  static auto& calls = *new platform::TimedCalls(1);  // threads use it to the very end
  return calls;
}

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

int TransferByte(int fd, char read_write, std::uint8_t command, std::uint8_t& value) {
  const auto transfer = std::make_shared<ByteTransfer>();
  transfer->data.byte = value;
  transfer->request.read_write = static_cast<__u8>(read_write);
  transfer->request.command = command;
  transfer->request.size = I2C_SMBUS_BYTE_DATA;
  transfer->request.data = &transfer->data;
  const int result = Transfers().Run(kByteLimit, [fd, transfer] {
    return platform::Machine().Ioctl(fd, I2C_SMBUS, &transfer->request) < 0 ? -errno : 0;
  });
  if (result < 0) {
    errno = -result;
    return -1;
  }
  value = transfer->data.byte;
  return 0;
}

}  // namespace Dev

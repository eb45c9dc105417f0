// Any answers of the board's chips, bridges and CPLDs among them: each device reads and is asked
// once, and the answers are taken from the input as they are wanted. What is left at the end of the
// input does not answer.
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <libconfig.h++>
#include <memory>
#include <span>

#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/safety_nak.h"
#include "platform/ioctl_table.h"
#include "tests/platform/bare_machine.h"

namespace {

std::span<const std::uint8_t> tape;

ssize_t Answer(void* data, std::size_t size) {
  if (tape.size() < size) return -EREMOTEIO;
  std::copy_n(tape.begin(), size, static_cast<std::uint8_t*>(data));
  tape = tape.subspan(size);
  return static_cast<ssize_t>(size);
}

class Chips : public platform::BareInstrument {
 public:
  std::unique_ptr<platform::DeviceFile> Open(std::string_view, int, int&) override {
    return std::make_unique<File>();
  }

 private:
  class File : public platform::DeviceFile {
   public:
    ssize_t Read(void* data, size_t size) override { return Answer(data, size); }
    ssize_t Write(const void*, size_t size) override {
      return tape.empty() ? -EREMOTEIO : static_cast<ssize_t>(size);
    }
    int Ioctl(unsigned long request, void* argument) override {
      if (request != I2C_SMBUS) return tape.empty() ? -EREMOTEIO : 0;
      platform::SmbusTransfer transfer{};
      std::memcpy(&transfer, argument, sizeof transfer);
      if (transfer.read_write == I2C_SMBUS_READ &&
          Answer(transfer.data.data(), transfer.data.size()) < 0) {
        return -EREMOTEIO;
      }
      std::memcpy(argument, &transfer, sizeof transfer);
      return 0;
    }
  };
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static platform::MachineInPlace<Chips> machine;
  machine.clock.SetAutoAdvance(true);
  static libconfig::Config config;
  auto& state = Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
  Dev::RegisterDrivers();
  Dev::I2cDev::LoadI2cDevices(Msg::MEAS_MODULE, 4, state);
  static const int bus = Dev::OpenBus(2);
  tape = {data, size};
  for (const auto& [key, device] : Dev::I2cDev::GetDevices()) {
    device->SetFd(bus);
    device->Read();
    for (const auto act : {Dev::I2cDev::do_read, Dev::I2cDev::do_wread, Dev::I2cDev::do_rawread}) {
      char out[256] = {};
      char in[256] = {};
      assert(device->DoReq(out, 4, in, 24, act) <= 256);
    }
  }
  Msg::safetyFault.Clear();
  return 0;
}

// Two I2C buses with chips that keep the last bytes written to them and give them back, and devices
// whose scan a test supplies.
#pragma once

#include <linux/i2c-dev.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <libconfig.h++>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "common/msg/state/hmp_data.h"
#include "tests/common/msg/state/error_list.h"
#include "tests/platform/bare_machine.h"

namespace i2c_test {

/// A module whose board has no chip in the table, so that those of the test are the only ones.
inline constexpr int kBareModule = Msg::PFC_MODULE;

class FakeBus : public platform::BareInstrument {
 public:
  using Address = std::pair<int, int>;  ///< bus, chip

  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int, int& error) override {
    const int bus = path == "/dev/i2c-1" ? 1 : path == "/dev/i2c-2" ? 2 : 0;
    error = bus == 0 ? ENOENT : 0;
    if (error != 0) return nullptr;
    return std::make_unique<File>(*this, bus);
  }

  /// An address of this process's own, as tests that listen on the same port run at once.
  std::string HostAddress() override {
    const auto pid = static_cast<unsigned>(::getpid());
    return "127." + std::to_string(64 + (pid >> 16 & 63)) + "." + std::to_string(pid >> 8 & 255) +
           "." + std::to_string(pid & 255);
  }

  /// What has been done since the last call: "s2:28" for a selection, "w2:28=0102", "r2:28*2".
  std::vector<std::string> TakeLog() {
    const std::lock_guard lock(mutex_);
    return std::exchange(log_, {});
  }
  /// The `n`-th operation from now on fails, counted from 1.
  void FailAt(int n) {
    const std::lock_guard lock(mutex_);
    fail_in_ = n;
  }
  /// Every operation is reported to this, on its thread, before it takes effect.
  std::function<void(const std::string&)> observer;
  bool keeps_log = true;

 private:
  class File : public platform::DeviceFile {
   public:
    File(FakeBus& bus, int number) : bus_(bus), number_(number) {}
    ssize_t Read(void* data, size_t size) override {
      if (bus_.Fails("r", number_, addr_, "*" + std::to_string(size))) return -EREMOTEIO;
      return bus_.Get({number_, addr_}, static_cast<char*>(data), size);
    }
    ssize_t Write(const void* data, size_t size) override {
      const std::string bytes(static_cast<const char*>(data), size);
      if (bus_.Fails("w", number_, addr_, "=" + Hex(bytes))) return -EREMOTEIO;
      bus_.Put({number_, addr_}, bytes);
      return static_cast<ssize_t>(size);
    }
    int Ioctl(unsigned long request, void* argument) override {
      std::int64_t value = 0;
      std::memcpy(&value, argument, sizeof value);
      if (request == I2C_RETRIES) return 0;
      if (request != I2C_SLAVE || bus_.Fails("s", number_, static_cast<int>(value), "")) {
        return -EINVAL;
      }
      addr_ = static_cast<int>(value);
      return 0;
    }

   private:
    FakeBus& bus_;
    const int number_;
    int addr_ = -1;
  };

  static std::string Hex(const std::string& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02X", byte);
      text += digits;
    }
    return text;
  }

  bool Fails(const char* what, int bus, int addr, const std::string& more) {
    if (!keeps_log) return false;
    char head[32];
    std::snprintf(head, sizeof head, "%s%d:%02X", what, bus, static_cast<unsigned>(addr));
    if (observer) observer(head + more);
    const std::lock_guard lock(mutex_);
    log_.push_back(head + more);
    return fail_in_ > 0 && --fail_in_ == 0;
  }
  ssize_t Get(Address chip, char* data, size_t size) {
    const std::lock_guard lock(mutex_);
    const std::string& bytes = chips_[chip];
    std::memset(data, 0, size);
    std::copy_n(bytes.begin(), std::min(size, bytes.size()), data);
    return static_cast<ssize_t>(size);
  }
  void Put(Address chip, const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    chips_[chip] = bytes;
  }

  std::mutex mutex_;  ///< guards all that follows
  std::vector<std::string> log_;
  int fail_in_ = 0;
  std::map<Address, std::string> chips_;
};

/// A device whose scan is the test's function; so is its request, if the test sets one, else that
/// of every device.
class TestDev : public Dev::I2cDev {
 public:
  using I2cDev::I2cDev;
  using I2cDev::Read;

  int Read() override { return scan ? scan() : 0; }
  int DoReq(char* buf, int len, char* buf2, int len2, Act act) override {
    return request ? request(buf2) : I2cDev::DoReq(buf, len, buf2, len2, act);
  }
  std::function<int()> scan;
  std::function<int(char* buf2)> request;
};

inline TestDev& AddTestDev(const Dev::I2cDevInfo& info) {
  auto device = std::make_unique<TestDev>(info);
  TestDev& added = *device;
  Dev::I2cDev::AddDevice(std::move(device));
  return added;
}

/// Assembly MEAS_CH1, type SPI_BRIDGE, on bus 2 at address 0x20 + `num`, behind no multiplexer.
inline TestDev& AddTestDev(int num, int rate, bool during_test, std::string id = "TEST") {
  return AddTestDev({._mid = 1,
                     ._aid = Dev::MEAS_CH1,
                     ._type = Dev::SPI_BRIDGE,
                     ._num = num,
                     ._rate = rate,
                     ._bus = 2,
                     ._hmux = 4,
                     ._lmux = 4,
                     ._addr = static_cast<char>(0x20 + num),
                     ._id = std::move(id),
                     ._rev = 3,
                     ._scanreq = during_test});
}

/// A machine with such buses and the daemon's blackboard; sleeps take no time.
struct Board {
  Board() {
    std::filesystem::create_directory(machine.root / "tmp");
    machine.clock.SetAutoAdvance(true);
    Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
  }
  /// The table's devices are loaded and gone again, so that a test's own are alone on the buses.
  static void ClearDevices() {
    Dev::RegisterDrivers();
    Dev::I2cDev::LoadI2cDevices(Msg::MEAS_MODULE, 3, *Msg::ghmp);
    Dev::I2cDev::DelDevices();
  }
  /// Error words that the daemon has collected.
  static int Errors(int code) {
    return static_cast<int>(std::ranges::count(ListOf(*Msg::ghmp), code));
  }

  platform::MachineInPlace<FakeBus> machine;
  FakeBus& bus = machine.instrument;
  libconfig::Config config;
};

}  // namespace i2c_test

// Devices whose every answer comes from an input: buses, chips, the FPGA, its memories and its
// driver's files.
#pragma once

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "platform/fpga_driver.h"
#include "platform/ioctl_table.h"
#include "platform/unique_fd.h"
#include "tests/platform/bare_machine.h"

namespace fuzz {

class AnsweringDevices : public platform::BareInstrument {
 public:
  /// From now on the devices answer with `answers`, again and again; a use whose number is a
  /// multiple of `failing` fails, none if that is 0. After kMostUses they are gone, which ends
  /// waits of many seconds.
  void Answer(std::span<const std::uint8_t> answers, unsigned failing) {
    const std::lock_guard lock(mutex_);
    answers_ = answers;
    next_ = 0;
    uses_ = 0;
    registers_.clear();
    failing_ = failing;
  }
  std::uint8_t Byte() {
    const std::lock_guard lock(mutex_);
    return Next();
  }

  /// A use takes a moment; else who waits for a register would wait for ever.
  void SetClock(platform::FakeClock& clock) { clock_ = &clock; }

  std::unique_ptr<platform::DeviceFile> Open(std::string_view, int, int& error) override {
    error = Fails() ? ENOENT : 0;
    return error != 0 ? nullptr : std::make_unique<File>(*this);
  }
  std::string HostAddress() override {
    const auto pid = static_cast<unsigned>(::getpid());
    return "127.98." + std::to_string(pid >> 8 & 255) + "." + std::to_string(pid & 255);
  }

 private:
  static constexpr unsigned kMostUses = 5000;

  class File : public platform::DeviceFile {
   public:
    explicit File(AnsweringDevices& devices) : devices_(devices) {}
    ssize_t Read(void* data, std::size_t size) override {
      const bool fails = devices_.Fails();
      if (fails && devices_.Byte() % 2 == 0) return -EREMOTEIO;
      if (fails) size = std::min<std::size_t>(size, devices_.Byte());  // a short one
      devices_.Fill(data, size);
      return static_cast<ssize_t>(size);
    }
    ssize_t Pread(void* data, std::size_t size, off_t) override { return Read(data, size); }
    ssize_t Write(const void*, std::size_t size) override {
      return devices_.Fails() ? -EREMOTEIO : static_cast<ssize_t>(size);
    }
    int Ioctl(unsigned long request, void* argument) override {
      if (devices_.Fails()) return -EIO;
      if (request == I2C_SMBUS) {
        auto& transfer = *static_cast<platform::SmbusTransfer*>(argument);
        devices_.Fill(transfer.data.data(), 1);
      } else if (request == Dev::Q5FPGA_CMD_RD || request == Dev::Q5FPGA_CMD_WR) {
        devices_.UseRegister(request, *static_cast<Dev::FpgaCmd*>(argument));
      }
      return 0;
    }
    int Map(std::size_t length, off_t) override {
      if (devices_.Fails()) return -ENODEV;
      memory_.Reset(::memfd_create("memory", MFD_CLOEXEC));
      return ::ftruncate(memory_.Get(), static_cast<off_t>(length)) == 0 ? memory_.Get() : -EIO;
    }

   private:
    AnsweringDevices& devices_;
    platform::UniqueFd memory_;
  };

  bool Fails() {
    if (clock_ != nullptr) clock_->Advance(std::chrono::microseconds(100));
    const std::lock_guard lock(mutex_);
    return ++uses_ > kMostUses || (failing_ != 0 && uses_ % failing_ == 0);
  }
  /// Every other answer is what the register was given, as much waits for that.
  void UseRegister(unsigned long request, Dev::FpgaCmd& command) {
    const bool faithful = Byte() % 2 == 0;
    if (request == Dev::Q5FPGA_CMD_RD && !faithful) return Fill(&command.val, sizeof command.val);
    const std::lock_guard lock(mutex_);
    std::uint32_t& value = registers_[command.offset];
    if (request == Dev::Q5FPGA_CMD_RD) {
      command.val = value;
    } else {
      value = command.val;
    }
  }
  void Fill(void* data, std::size_t size) {
    const std::lock_guard lock(mutex_);
    auto* bytes = static_cast<std::uint8_t*>(data);
    std::generate_n(bytes, size, [this] { return Next(); });
  }
  std::uint8_t Next() { return answers_.empty() ? 0 : answers_[next_++ % answers_.size()]; }

  platform::FakeClock* clock_ = nullptr;
  std::mutex mutex_;  ///< guards all that follows
  std::span<const std::uint8_t> answers_;
  std::size_t next_ = 0;
  std::map<int, std::uint32_t> registers_;
  unsigned uses_ = 0;
  unsigned failing_ = 0;
};

}  // namespace fuzz

// An instrument of one device with every operation, for tests of the back ends.
#pragma once

#include <linux/i2c-dev.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>

#include "platform/fpga_driver.h"
#include "platform/instrument.h"
#include "platform/ioctl_table.h"
#include "platform/unique_fd.h"
#include "tests/platform/temporary_root.h"

namespace platform {

class TestInstrument final : public Instrument {
 public:
  static constexpr char kPath[] = "/dev/test";
  static constexpr std::size_t kMemoryBytes = 4096;

  TestInstrument() : memory_(::memfd_create("test", MFD_CLOEXEC)) {
    if (::ftruncate(memory_.Get(), kMemoryBytes) != 0) std::abort();
  }

  std::unique_ptr<DeviceFile> Open(std::string_view path, int, int& error) override {
    if (path == kPath || path == Dev::kFpgaDevicePath) return std::make_unique<File>(*this, path);
    error = ENOENT;
    return nullptr;
  }
  int System(std::string_view command) override { return static_cast<int>(command.size()) << 8; }
  int SetRealtime(const timespec& time) override {
    set_seconds = time.tv_sec;
    return 0;
  }
  timespec Realtime() override {
    timespec now{};
    if (set_seconds != 0) {
      now.tv_sec = set_seconds;
    } else {
      ::clock_gettime(CLOCK_REALTIME, &now);
    }
    return now;
  }
  std::string HostAddress() override { return "127.0.7.52"; }
  void SystemLog(std::string_view line) override {
    const std::lock_guard lock(mutex);
    log = line;
  }

  /// Lets one waiting read go with this text.
  void Provide(std::string text) {
    const std::lock_guard lock(mutex);
    provided.push_back(std::move(text));
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> provided;
  std::string taken;  ///< with the last read of the FPGA's device
  std::string written;
  std::string log;
  std::atomic<std::int64_t> slave{0};
  std::atomic<time_t> set_seconds{0};
  std::atomic<int> open_files{0};
  std::atomic<int> reading{0};

 private:
  class File final : public DeviceFile {
   public:
    File(TestInstrument& instrument, std::string_view path)
        : instrument_(instrument), record_bytes_(ReadRecordBytes(path)) {
      ++instrument_.open_files;
    }
    ~File() override { --instrument_.open_files; }

    ssize_t Read(void* data, size_t size) override {
      std::unique_lock lock(instrument_.mutex);
      ++instrument_.reading;
      const bool ready = instrument_.changed.wait_for(
          lock, std::chrono::milliseconds(50), [this] { return !instrument_.provided.empty(); });
      --instrument_.reading;
      if (!ready) return -EAGAIN;
      const std::string text = instrument_.provided.front();
      instrument_.provided.pop_front();
      if (record_bytes_ != 0) instrument_.taken.assign(static_cast<const char*>(data), size);
      const std::size_t count = std::min(size, text.size());
      std::memcpy(data, text.data(), count);
      return static_cast<ssize_t>(count);
    }
    ssize_t Pread(void* data, size_t size, off_t offset) override {
      const auto count = std::min<std::size_t>(size, 4);
      std::memset(data, 'a' + static_cast<int>(offset), count);
      return static_cast<ssize_t>(count);
    }
    ssize_t Write(const void* data, size_t size) override {
      const std::lock_guard lock(instrument_.mutex);
      instrument_.written.assign(static_cast<const char*>(data), size);
      return static_cast<ssize_t>(size);
    }
    int Ioctl(unsigned long request, void* argument) override {
      if (request == I2C_SLAVE) {
        std::int64_t value = 0;
        std::memcpy(&value, argument, sizeof value);
        instrument_.slave = value;
        return 0;
      }
      if (request != Dev::Q5FPGA_CMD_RD) return -ENOTTY;
      Dev::FpgaCmd command;
      std::memcpy(&command, argument, sizeof command);
      if (command.offset < 0) return -EINVAL;
      command.val = static_cast<std::uint32_t>(command.offset) * 3;
      std::memcpy(argument, &command, sizeof command);
      return 5;
    }
    int Map(size_t, off_t) override { return instrument_.memory_.Get(); }

   private:
    TestInstrument& instrument_;
    const std::size_t record_bytes_;
  };

  UniqueFd memory_;
};

}  // namespace platform

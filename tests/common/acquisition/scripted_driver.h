// The FPGA's driver as acquisition sees it, with a block counter that a test moves by hand. Every
// word of block n (from 1) of a stream is n << 8, so a block says which one it is; the bits below
// tell one stream from the next.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/fpga_driver.h"
#include "simulator/shared_memory.h"
#include "tests/platform/bare_machine.h"

namespace acquisition {

inline constexpr int kTestPairs = 1024;
inline constexpr std::uint32_t kTestPages = 2;  ///< a block's
inline constexpr std::size_t kTestBlockWords = 2 * kTestPairs;

class ScriptedDriver final : public platform::BareInstrument {
 public:
  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int, int& error) override {
    if (path == Dev::kFpgaDevicePath) return std::make_unique<Device>(*this);
    if (path.starts_with("/sys/fpgaattr/")) return std::make_unique<Attribute>(*this, path);
    error = ENOENT;
    return nullptr;
  }
  int System(std::string_view command) override {
    const std::lock_guard lock(mutex);
    if (command.find("overflow") != command.npos) overflows = 0;
    commands += std::string(command) + "\n";
    return 0;
  }

  /// Puts the next blocks into the ring and reports each; false once the stream has stopped.
  bool Produce(int blocks) {
    const std::lock_guard lock(mutex);
    for (int i = 0; i < blocks && sampling; ++i) {
      FillNext();
      counters.push_back(counter);
    }
    changed.notify_all();
    return sampling;
  }
  /// The same, but only the last of them is reported.
  void ProduceAtOnce(int blocks) {
    const std::lock_guard lock(mutex);
    for (int i = 0; i < blocks; ++i) FillNext();
    counters.push_back(counter);
    changed.notify_all();
  }
  /// A block of which only the second half reaches the ring.
  void ProduceHalf() {
    const std::lock_guard lock(mutex);
    FillNext(kTestBlockWords / 2);
    counters.push_back(counter);
    changed.notify_all();
  }
  /// Counts blocks that never reach the ring; the next one tells of them.
  void Lose(int blocks) {
    const std::lock_guard lock(mutex);
    counter += static_cast<std::uint32_t>(blocks) * kTestPages;
  }
  /// Reports a counter of the test's own.
  void Report(std::uint32_t value) {
    const std::lock_guard lock(mutex);
    counters.push_back(counter = value);
    changed.notify_all();
  }
  /// Reports that the producer has not read yet.
  std::size_t Unread() {
    const std::lock_guard lock(mutex);
    return counters.size();
  }
  /// Until the producer waits for a counter again.
  void AwaitIdle() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return counters.empty() && waiting; });
  }

  /// As a driver that was loaded again: its counter is at 0 and it samples no more. With `fails`
  /// the next read fails.
  void Restart(bool fails) {
    const std::lock_guard lock(mutex);
    sampling = false;
    counters.clear();
    counter = 0;
    block_bytes = 0;
    read_fails = fails;
    ring.emplace("ring", Dev::kSampleRingBytes);
    changed.notify_all();
  }
  void AwaitSampling() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return sampling; });
  }

  /// Until the producer has left the read of a stream that has stopped, so that it cannot take the
  /// first report of the next one.
  void AwaitUnread() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !waiting; });
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::uint32_t> counters;
  std::uint32_t counter = 0;
  int streams = 0;  ///< that were started
  bool sampling = false;
  bool waiting = false;
  bool read_fails = false;
  bool map_fails = false;
  std::uint32_t block_bytes = 0;  ///< as announced
  int overflows = 0;
  std::string commands;

 private:
  void FillNext(std::size_t missing = 0) {
    const std::size_t offset = counter * 4096UL % Dev::kSampleRingBytes;
    counter += kTestPages;
    const int word = static_cast<int>(counter / kTestPages) << 8 | streams % 32;
    auto* words = reinterpret_cast<int*>(ring->Data().data() + offset);
    std::fill(words + missing, words + kTestBlockWords, word);
  }

  class Device final : public platform::DeviceFile {
   public:
    explicit Device(ScriptedDriver& driver) : driver_(driver) {}
    ssize_t Read(void* data, size_t size) override {
      std::unique_lock lock(driver_.mutex);
      driver_.waiting = true;
      driver_.changed.notify_all();
      driver_.changed.wait_for(lock, std::chrono::milliseconds(20),
                               [this] { return !driver_.counters.empty() || !driver_.sampling; });
      driver_.waiting = false;
      driver_.changed.notify_all();
      if (std::exchange(driver_.read_fails, false)) return -EIO;
      Dev::FpgaCmd command{};
      std::memcpy(&command, data, sizeof command);
      if (driver_.counters.empty() && driver_.sampling) return -EAGAIN;
      command.val = driver_.counter;
      if (!driver_.counters.empty()) {
        command.val = driver_.counters.front();
        driver_.counters.pop_front();
      }
      std::memcpy(data, &command, sizeof command);
      return static_cast<ssize_t>(size);
    }
    ssize_t Write(const void* data, size_t size) override {
      Dev::FpgaCmd command{};
      std::memcpy(&command, data, sizeof command);
      const std::lock_guard lock(driver_.mutex);
      if (command.offset == Dev::Q5FPGA_CMD_SAMPLEBLOCK_NUM) driver_.block_bytes = command.val;
      return static_cast<ssize_t>(size);
    }
    int Ioctl(unsigned long request, void*) override {
      const std::lock_guard lock(driver_.mutex);
      if (request == Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS) {
        driver_.sampling = true;
        ++driver_.streams;
        driver_.counter = 0;
        driver_.counters.clear();
      }
      if (request == Dev::Q5FPGA_CMD_STOP_ACQUISITION) driver_.sampling = false;
      driver_.changed.notify_all();
      return 0;
    }
    int Map(size_t length, off_t) override {
      if (driver_.map_fails) return -ENOMEM;
      return length == Dev::kSampleRingBytes ? driver_.ring->Descriptor() : -EINVAL;
    }

   private:
    ScriptedDriver& driver_;
  };

  class Attribute final : public platform::DeviceFile {
   public:
    Attribute(ScriptedDriver& driver, std::string_view path) : driver_(driver), path_(path) {}
    ssize_t Pread(void* data, size_t size, off_t) override {
      const std::lock_guard lock(driver_.mutex);
      const std::string text =
          path_.ends_with("overflow_underflow") ? std::to_string(driver_.overflows) + "\n" : "7\n";
      std::memcpy(data, text.data(), std::min(size, text.size()));
      return static_cast<ssize_t>(std::min(size, text.size()));
    }

   private:
    ScriptedDriver& driver_;
    const std::string path_;
  };

  std::optional<simulator::SharedMemory> ring{std::in_place, "ring", Dev::kSampleRingBytes};
};

}  // namespace acquisition

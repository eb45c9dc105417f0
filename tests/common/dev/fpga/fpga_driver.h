// A driver with registers, waveform memories and a version, whose n-th request can be made to fail.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <libconfig.h++>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "common/dev/fpga/fpga_dev.h"
#include "common/msg/state/hmp_data.h"
#include "platform/unique_fd.h"
#include "tests/common/msg/state/error_list.h"
#include "tests/platform/bare_machine.h"

namespace fpga_test {

class Driver : public platform::BareInstrument {
 public:
  using Writes = std::vector<std::pair<int, unsigned>>;

  class File : public platform::DeviceFile {
   public:
    explicit File(Driver& driver) : driver_(driver) {}
    int Ioctl(unsigned long request, void* argument) override {
      return driver_.Request(request, *static_cast<Dev::fpga_cmd_t*>(argument));
    }
    int Map(size_t length, off_t offset) override {
      if (offset != 0 || driver_.unmappable.contains(length)) return -ENODEV;
      return driver_.Memory(length);
    }

   private:
    Driver& driver_;
  };

  class VersionFile : public platform::DeviceFile {
   public:
    explicit VersionFile(const std::string& text) : text_(text) {}
    ssize_t Read(void* data, size_t size) override {
      return static_cast<ssize_t>(text_.copy(static_cast<char*>(data), size));
    }

   private:
    const std::string text_;
  };

  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int, int& error) override {
    error = ENOENT;
    if (path == Dev::kDriverVersionPath && version) {
      return std::make_unique<VersionFile>(*version);
    }
    if (!present || path != "/dev/q5fpga0") return nullptr;
    return std::make_unique<File>(*this);
  }

  int Request(unsigned long request, Dev::fpga_cmd_t& command) {
    if (requests++ == failing || all_fail) return -EIO;
    if (request == Dev::Q5FPGA_CMD_START_SRC_BUFFER_DMA) {
      dma.push_back(command.val);
      return command.devtype == Dev::FPGA_REG && command.offset == 2 ? 0 : -EINVAL;
    }
    if (command.devtype != Dev::FPGA_REG) return -EINVAL;
    if (request == Dev::Q5FPGA_CMD_RD) {
      if (on_read) on_read(command.offset);
      command.val = registers[command.offset];
    }
    if (request == Dev::Q5FPGA_CMD_WR) {
      writes.emplace_back(command.offset, command.val);
      if (command.offset != 36) registers[command.offset] = command.val;
    }
    return 0;
  }

  /// The memory of a mapping of this length, kept from mapping to mapping.
  int Memory(size_t length) {
    platform::UniqueFd& fd = memories_[length];
    if (!fd) {
      fd = platform::UniqueFd(::memfd_create("waveform", MFD_CLOEXEC));
      if (::ftruncate(fd.Get(), static_cast<off_t>(length)) != 0) return -EIO;
    }
    return fd.Get();
  }
  std::vector<std::int16_t> Samples(size_t length) {
    std::vector<std::int16_t> samples(length / 2);
    EXPECT_EQ(::pread(Memory(length), samples.data(), length, 0), static_cast<ssize_t>(length));
    return samples;
  }
  void Spoil(size_t length, std::int16_t value) {
    const std::vector<std::int16_t> samples(length / 2, value);
    EXPECT_EQ(::pwrite(Memory(length), samples.data(), length, 0), static_cast<ssize_t>(length));
  }

  void Reset(std::map<int, unsigned> values = {}, int n = -1) {
    registers = std::move(values);
    requests = 0;
    failing = n;
    writes.clear();
  }

  bool present = true;
  bool all_fail = false;
  int failing = -1;
  int requests = 0;
  std::map<int, unsigned> registers;
  Writes writes;
  std::vector<unsigned> dma;
  std::function<void(int offset)> on_read;
  std::set<size_t> unmappable;
  std::optional<std::string> version;

 private:
  std::map<size_t, platform::UniqueFd> memories_;
};

/// A module with its FPGA and the test state that goes with it.
class FpgaTest : public testing::Test {
 protected:
  FpgaTest() {
    Share(data);
    machine.clock.SetAutoAdvance(true);
  }
  static void Share(Msg::HMPData& its) {
    Dev::FpgaDev::Share(
        {.config = its, .test = its, .output = its, .channels = its, .errors = its});
  }
  int Open() { return machine.backend.Open("/dev/q5fpga0", O_RDWR, 0); }
  /// The error words since the last call, the module code first.
  std::vector<int> Errors() {
    const std::vector<int> words = ListOf(data);
    data.ClearErrorCodes();
    return words;
  }
  void SetTest(int type, int sourcemode, float frequency) {
    data.testype = static_cast<short>(type);
    data.sourcemode = static_cast<short>(sourcemode);
    data.frequency = frequency;
  }

  platform::MachineInPlace<Driver> machine;
  Driver& driver = machine.instrument;
  libconfig::Config config;
  Msg::HMPData data{config, Msg::SOURCE_MODULE};
  Dev::FpgaDev fpga{Open()};
};

}  // namespace fpga_test

// An instrument whose I2C buses a test speaks to as the daemon does.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fake_clock.h"
#include "platform/local.h"
#include "simulator/control.h"
#include "simulator/virtual_instrument.h"
#include "tests/platform/temporary_root.h"

namespace simulator {

using Bytes = std::vector<std::uint8_t>;

class I2cTest : public testing::Test {
 protected:
  /// With config_ as the test has set it.
  void Start() {
    config_.seed = 42;
    instrument_.emplace(config_, root_.Path(), clock_);
    backend_.emplace(*instrument_, clock_, root_.Path());
    ASSERT_EQ(instrument_->Problem(), "");
    for (std::size_t bus = 0; bus < 2; ++bus) {
      const std::string path = "/dev/i2c-" + std::to_string(bus + 1);
      files_[bus] = backend_->Open(path.c_str(), O_RDWR, 0);
      ASSERT_GE(files_[bus], 0);
    }
  }

  /// The count, or a negative errno.
  ssize_t Write(int bus, unsigned address, const Bytes& bytes) {
    Select(bus, address);
    const ssize_t count = backend_->Write(File(bus), bytes.data(), bytes.size());
    return count < 0 ? -errno : count;
  }
  /// What was read; empty after a failure, whose errno is in error_.
  Bytes Read(int bus, unsigned address, std::size_t size) {
    Select(bus, address);
    Bytes bytes(size);
    const ssize_t count = backend_->Read(File(bus), bytes.data(), size);
    error_ = count < 0 ? errno : 0;
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
  }
  Bytes Ask(int bus, unsigned address, const Bytes& question, std::size_t size) {
    EXPECT_EQ(Write(bus, address, question), static_cast<ssize_t>(question.size()));
    return Read(bus, address, size);
  }
  void SelectChannels(std::uint8_t control) { EXPECT_EQ(Write(2, 0x68, {control}), 1); }
  std::string Control(std::string_view line) {
    return AnswerControlLine(instrument_->Units(), line);
  }

  int File(int bus) const { return files_[static_cast<std::size_t>(bus) - 1]; }
  void Select(int bus, unsigned address) {
    ASSERT_EQ(backend_->Ioctl(File(bus), I2C_SLAVE, reinterpret_cast<void*>(address)), 0);
  }

  platform::TemporaryRoot root_;
  platform::FakeClock clock_;
  Config config_;
  std::optional<VirtualInstrument> instrument_;
  std::optional<platform::LocalBackend> backend_;
  std::array<int, 2> files_{-1, -1};
  int error_ = 0;
};

}  // namespace simulator

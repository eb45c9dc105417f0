// The devices of the virtual instrument, through the back end that the daemon's own tests use.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <limits>
#include <thread>

#include "platform/local.h"
#include "simulator/control.h"
#include "simulator/virtual_instrument.h"
#include "tests/platform/test_instrument.h"

namespace simulator {
namespace {

class InstrumentTest : public testing::Test {
 protected:
  explicit InstrumentTest(Module module = Module::kMeas) {
    config_.module = module;
    config_.seed = 42;
    instrument_.emplace(config_, root_.Path(), clock_);
    backend_.emplace(*instrument_, clock_, root_.Path());
    EXPECT_EQ(instrument_->Problem(), "");
    fd_ = backend_->Open("/dev/q5fpga0", O_RDWR, 0);
    EXPECT_GE(fd_, 0);
  }

  int Read(std::int32_t offset, std::int32_t devtype = Dev::FPGA_REG) {
    Dev::FpgaCmd command{devtype, offset, 0xAAAAAAAA, 0, 0};
    return backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_RD, &command) < 0 ? -errno
                                                                  : static_cast<int>(command.val);
  }
  int Write(std::int32_t offset, std::uint32_t value) {
    Dev::FpgaCmd command{Dev::FPGA_REG, offset, value, 0, 0};
    return backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_WR, &command) < 0 ? -errno : 0;
  }
  std::string Control(std::string_view line) {
    return AnswerControlLine(instrument_->Units(), line);
  }
  std::string ReadFile(const char* path) {
    const int fd = backend_->Open(path, O_RDONLY, 0);
    if (fd < 0) return "errno " + std::to_string(errno);
    std::string text;
    char part[3];  // less than the text: the rest comes with the next read
    for (ssize_t count = 0; (count = backend_->Read(fd, part, sizeof part)) > 0;) {
      text.append(part, static_cast<std::size_t>(count));
    }
    backend_->Close(fd);
    return text;
  }

  platform::TemporaryRoot root_;
  platform::FakeClock clock_;
  Config config_;
  std::optional<VirtualInstrument> instrument_;
  std::optional<platform::LocalBackend> backend_;
  int fd_ = -1;
};

TEST_F(InstrumentTest, RegistersHoldWhatTheBusMayWrite) {
  EXPECT_EQ(Read(0), 0x4984);
  EXPECT_EQ(Read(2), 150);
  EXPECT_EQ(Read(14), 0x1040);
  EXPECT_EQ(Write(14, 0xB180), 0);
  EXPECT_EQ(Read(14), 0xB180);
  EXPECT_EQ(Write(0, 0xFFFF), 0);  // read only, as the bus has no way to say so
  EXPECT_EQ(Read(0), 0x4984);
  EXPECT_EQ(Write(22, 0xFFFD), 0);  // the strap stays set, the ALLOK input does not follow a write
  EXPECT_EQ(Read(22), 0xBFFD);
  EXPECT_EQ(Write(22, 0x0002), 0);  // ALLOK out: the line is up
  EXPECT_EQ(Read(22), 0xC002);
  EXPECT_EQ(Write(4, 0x12345), 0);  // 16 bits wide
  EXPECT_EQ(Read(4), 0x2345);
  for (const std::int32_t offset : {1, 12, 100, -2, 0x10000}) {
    EXPECT_EQ(Read(offset), -EINVAL) << offset;
    EXPECT_EQ(Write(offset, 1), -EINVAL) << offset;
  }
  EXPECT_EQ(Read(0, Dev::FPGA_OLED_REG), -EINVAL);
  Dev::FpgaCmd text{Dev::FPGA_OLED_REG, 0, 0, 0, 0};
  EXPECT_EQ(backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_SET_IP, &text), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(backend_->Ioctl(fd_, I2C_SLAVE, reinterpret_cast<void*>(0x70)), -1);
  EXPECT_EQ(errno, ENOTTY);
}

TEST_F(InstrumentTest, ControlSeesAndDrivesRegisters) {
  ASSERT_EQ(Write(30, 500), 0);
  EXPECT_EQ(Control("get fpga.Q5FPGA_AMP_TARGET"), "ok 0x01F4");
  EXPECT_EQ(Control("set fpga.Q5FPGA_VERSION 0xBEE"), "ok");
  EXPECT_EQ(Read(2), 0xBEE);
  EXPECT_THAT(Control("set fpga.Q5FPGA_VERSION 65536"), testing::StartsWith("error"));
  EXPECT_THAT(Control("set fpga.Q5FPGA_WFORM_AMP_VALUE 5"), testing::HasSubstr("read only"));
}

TEST_F(InstrumentTest, EveryFaultShowsAndHeals) {
  ASSERT_EQ(Write(4, 7), 0);
  EXPECT_EQ(Control("fault fpga off"), "ok");
  EXPECT_EQ(Read(4), -EIO);
  EXPECT_EQ(backend_->Open("/dev/q5fpga0", O_RDWR, 0), -1);
  EXPECT_EQ(errno, ENXIO);

  EXPECT_EQ(Control("fault fpga stuck"), "ok");
  EXPECT_EQ(Write(4, 8), 0);
  EXPECT_EQ(Read(4), 7);

  EXPECT_EQ(Control("fault fpga garbage"), "ok");
  EXPECT_NE(std::make_pair(Read(4), Read(4)), std::make_pair(7, 7));

  EXPECT_EQ(Control("fault fpga wrong"), "ok");
  EXPECT_EQ(Read(0), 0x4980);
  EXPECT_EQ(Read(4), 7);

  EXPECT_EQ(Control("fault fpga intermittent 50"), "ok");
  int failed = 0;
  for (int i = 0; i < 200; ++i) failed += Read(4) == -EIO ? 1 : 0;
  EXPECT_NEAR(failed, 100, 30);

  EXPECT_EQ(Control("fault fpga slow 3000"), "ok");
  std::jthread reader([&] { EXPECT_EQ(Read(4), 7); });
  ASSERT_TRUE(clock_.AwaitBlocked(1));
  EXPECT_EQ(clock_.NextDeadline(), clock_.Monotonic() + std::chrono::seconds(3));
  clock_.Advance(std::chrono::seconds(3));
  reader.join();

  EXPECT_EQ(Control("fault fpga delayed"), "error unsupported");
  EXPECT_EQ(Control("fault fpga ok"), "ok");
  EXPECT_EQ(Write(4, 9), 0);
  EXPECT_EQ(Read(4), 9);
}

TEST_F(InstrumentTest, AttributesGoTheirOwnWayOnly) {
  EXPECT_EQ(ReadFile("/sys/module/fpgadrv/parameters/version"), "0.90\n");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/rxfpga"), "0\n");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/q5processpid"), "errno " + std::to_string(EACCES));
  EXPECT_EQ(ReadFile("/sys/fpgaattr/nothing"), "errno " + std::to_string(ENOENT));
  EXPECT_EQ(backend_->Open("/sys/fpgaattr/brIndex", O_RDWR, 0), -1);
  EXPECT_EQ(errno, EACCES);

  const int fd = backend_->Open("/sys/fpgaattr/q5processpid", O_WRONLY, 0);
  EXPECT_EQ(backend_->Write(fd, "4711\n", 5), 5);
  backend_->Close(fd);
  EXPECT_EQ(Control("get fpga.pid"), "ok 4711");

  EXPECT_EQ(Control("set fpga.overflow_underflow 1F"), "ok");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/overflow_underflow"), "1f\n");
  const int counter = backend_->Open("/sys/fpgaattr/overflow_underflow", O_RDONLY, 0);
  char text[8] = "";
  EXPECT_EQ(backend_->Pread(counter, text, sizeof text, 0), 3);
  EXPECT_EQ(backend_->System("echo 0 >/sys/fpgaattr/overflow_underflow"), 0);
  EXPECT_EQ(backend_->Pread(counter, text, sizeof text, 0), 2);
  EXPECT_EQ(std::string(text, 2), "0\n");
  EXPECT_EQ(backend_->Pread(counter, text, sizeof text, 2), 0);
  EXPECT_EQ(backend_->Close(counter), 0);
  EXPECT_EQ(ReadFile("/sys/fpgaattr/overflow_underflow"), "0\n");
  EXPECT_EQ(WEXITSTATUS(backend_->System("echo zz > /sys/fpgaattr/overflow_underflow")), 1);
  EXPECT_EQ(WEXITSTATUS(backend_->System("echo 0 > /sys/fpgaattr/rxfpga")), 1);
}

TEST_F(InstrumentTest, ShellRunsNothingHere) {
  const std::string witness = root_.Path() + "/witness";
  EXPECT_EQ(WEXITSTATUS(backend_->System(("touch " + witness).c_str())), 127);
  EXPECT_EQ(WEXITSTATUS(backend_->System(("echo 1 > " + witness).c_str())), 127);
  EXPECT_FALSE(std::filesystem::exists(witness));
  EXPECT_THAT(Control("get shell.history"),
              testing::AllOf(testing::StartsWith("ok touch "), testing::HasSubstr("=> 127; echo")));
  for (std::size_t i = 0; i < 2 * Shell::kHistory; ++i) backend_->System("ps");
  EXPECT_THAT(Control("get shell.history"), testing::Not(testing::HasSubstr("touch")));
}

TEST_F(InstrumentTest, TimeOfDayRefusesNonsense) {
  const timespec cases[] = {
      {-1, 0}, {0, -1}, {0, 1000000000}, {std::numeric_limits<time_t>::max(), 0}};
  for (const timespec& time : cases) EXPECT_EQ(instrument_->SetRealtime(time), -EINVAL);
  ASSERT_EQ(instrument_->SetRealtime({.tv_sec = 100, .tv_nsec = 0}), 0);
  clock_.Advance(std::chrono::seconds(2));
  EXPECT_EQ(instrument_->Realtime().tv_sec, 102);
}

class MainInstrumentTest : public InstrumentTest {
 protected:
  MainInstrumentTest() : InstrumentTest(Module::kMain) {}
};

TEST_F(MainInstrumentTest, HasItsOwnIdentityAndAllokPins) {
  EXPECT_EQ(Read(0), 0x4980);
  EXPECT_EQ(Read(22), 0);
  ASSERT_EQ(Write(6, 1U << 4), 0);
  EXPECT_EQ(Read(8), 2);
  EXPECT_EQ(Control("set allok.meas 0"), "ok");
  EXPECT_EQ(Read(8), 0);
  EXPECT_EQ(Control("set allok.meas 1"), "ok");
  EXPECT_EQ(Read(8), 2);
  ASSERT_EQ(Write(6, 0), 0);
  EXPECT_EQ(Read(8), 0);
  EXPECT_EQ(backend_->HostAddress(), "127.0.0.51");
}

TEST_F(MainInstrumentTest, TheDisplayReadsBackAtItsCursor) {
  const auto write = [&](std::int32_t offset, std::uint32_t value) {
    Dev::FpgaCmd command{Dev::FPGA_OLED_REG, offset, value, 0, 0};
    return backend_->Ioctl(fd_, Dev::Q5FPGA_CMD_WR, &command) < 0 ? -errno : 0;
  };
  ASSERT_EQ(Write(6, 1U << 14), 0);
  ASSERT_EQ(Control("set fpga.oled.line1 Ready"), "ok");
  ASSERT_EQ(Control("set fpga.oled.line2 60Hz"), "ok");
  ASSERT_EQ(write(0, 2), 0);
  EXPECT_EQ(Read(2, Dev::FPGA_OLED_REG), 'R');
  EXPECT_EQ(Read(2, Dev::FPGA_OLED_REG), 'e');
  ASSERT_EQ(write(0, 192), 0);
  EXPECT_EQ(Read(2, Dev::FPGA_OLED_REG), '6');
  ASSERT_EQ(Write(6, 0), 0);  // its reset line
  ASSERT_EQ(write(0, 192), 0);
  EXPECT_EQ(Read(2, Dev::FPGA_OLED_REG), ' ');
  EXPECT_EQ(write(4, 0), -EINVAL);
  EXPECT_EQ(Read(0, Dev::FPGA_OLED_REG), -EINVAL);
  EXPECT_THAT(Control("set fpga.oled.line1 12345678901234567"), testing::StartsWith("error"));
}

TEST(DeviceTable, TellsTwoDevicesAtOnePlace) {
  DeviceTable table;
  const auto opener = [](int, int&) { return nullptr; };
  EXPECT_TRUE(table.Add("/dev/a", opener));
  EXPECT_FALSE(table.Add("/dev/a", opener));
}

}  // namespace
}  // namespace simulator

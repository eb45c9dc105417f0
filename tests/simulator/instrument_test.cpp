// The devices of the virtual instrument, through the back end that the daemon's own tests use.

#include "platform/fpga_driver.h"
#include "tests/simulator/i2c_fixture.h"

namespace simulator {
namespace {

class InstrumentTest : public I2cTest {
 protected:
  explicit InstrumentTest(Module module = Module::kMeas) {
    config_.module = module;
    Start();
    fd_ = backend_->Open(Dev::kFpgaDevicePath, O_RDWR, 0);
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
  for (const std::int32_t offset : {1, 100, -2, 0x10000}) {
    EXPECT_EQ(Read(offset), -EINVAL) << offset;
    EXPECT_EQ(Write(offset, 1), -EINVAL) << offset;
  }
}

TEST_F(InstrumentTest, AttributesGoTheirOwnWayOnly) {
  EXPECT_EQ(ReadFile("/sys/module/fpgadrv/parameters/version"), "0.90\n");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/rxfpga"), "0\n");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/q5processpid"), "errno " + std::to_string(EACCES));

  EXPECT_EQ(Control("set fpga.overflow_underflow 1F"), "ok");
  EXPECT_EQ(ReadFile("/sys/fpgaattr/overflow_underflow"), "1f\n");
  const int counter = backend_->Open("/sys/fpgaattr/overflow_underflow", O_RDONLY, 0);
  char text[8] = "";
  EXPECT_EQ(backend_->Pread(counter, text, sizeof text, 0), 3);
  EXPECT_EQ(backend_->System("echo 0 >/sys/fpgaattr/overflow_underflow"), 0);
  EXPECT_EQ(backend_->Pread(counter, text, sizeof text, 0), 2);
  EXPECT_EQ(std::string(text, 2), "0\n");
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

}  // namespace
}  // namespace simulator

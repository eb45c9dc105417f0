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

  int fd_ = -1;
};

TEST_F(InstrumentTest, RegistersKeepTheBitsThatTheBusMayWrite) {
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

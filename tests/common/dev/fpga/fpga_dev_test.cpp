// Who this module is, told from the FPGA's registers; and a driver that refuses.
#include "common/dev/fpga/fpga_dev.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>

#include "tests/platform/bare_machine.h"

namespace {

// A driver with a few registers, whose n-th request can be made to fail.
class Driver : public platform::BareInstrument {
 public:
  class File : public platform::DeviceFile {
   public:
    explicit File(Driver& driver) : driver_(driver) {}
    int Ioctl(unsigned long request, void* argument) override {
      if (driver_.requests++ == driver_.failing) return -EIO;
      auto& command = *static_cast<Dev::fpga_cmd_t*>(argument);
      if (command.devtype != Dev::FPGA_REG) return -EINVAL;
      if (request == Dev::Q5FPGA_CMD_RD) command.val = driver_.registers[command.offset];
      if (request == Dev::Q5FPGA_CMD_WR) driver_.registers[command.offset] = command.val;
      return 0;
    }

   private:
    Driver& driver_;
  };

  std::unique_ptr<platform::DeviceFile> Open(std::string_view path, int, int& error) override {
    error = ENOENT;
    if (!present || path != "/dev/q5fpga0") return nullptr;
    return std::make_unique<File>(*this);
  }
  bool present = true;
  int failing = -1;
  int requests = 0;
  std::map<int, unsigned> registers;
};

class FpgaTest : public testing::Test {
 protected:
  int Open() { return machine.backend.Open("/dev/q5fpga0", O_RDWR, 0); }

  platform::MachineInPlace<Driver> machine;
  Driver& driver = machine.instrument;
};

TEST_F(FpgaTest, ModuleAndRevisionFollowTheRegisters) {
  const struct {
    unsigned id, misc;
    int module, revision;
  } cases[] = {
      {0x0980, 0x8000, Dev::MAIN_MOD, 0},
      {0x3980, 0, Dev::MAIN_MOD, 3},
      {0x3984, 0x8000, Dev::MEAS_MOD, 3},
      {0xF984, 0xFFFF, Dev::MEAS_MOD, 15},
      {0x2984, 0x7FFF, Dev::SOURCE_MOD, 2},
      {0x0985, 0x8000, 3, 0},
      {0, 0, 3, 0},
      {0xFFFF, 0xFFFF, 3, 15},
  };
  Dev::FpgaDev fpga(Open());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    driver.registers[0] = c.id;
    driver.registers[22] = c.misc;
    EXPECT_EQ(fpga.GetHostModuleID(), c.module);
    EXPECT_EQ(fpga.GetRevision(), c.revision);
    for (int module = 0; module < 5; ++module) {
      EXPECT_EQ(fpga.IsActualModuleID(module), module == c.module);
    }
  }
}

TEST_F(FpgaTest, EveryFailedRequestIsAFailure) {
  Dev::FpgaDev fpga(Open());
  driver.registers = {{0, 0x3984}, {22, 0x8000}};
  for (int failing = 0; failing < 2; ++failing) {  // the identity takes two reads
    driver.requests = 0;
    driver.failing = failing;
    EXPECT_EQ(fpga.GetHostModuleID(), -1);
  }
  auto fails = [&](auto&& operation) {
    driver.requests = driver.failing = 0;
    EXPECT_EQ(operation(), -1);
  };
  unsigned value = 77;
  Dev::FpgaCmd command{Dev::FPGA_REG, 4, 1, 0, 0};
  fails([&] { return fpga.GetRevision(); });
  fails([&] { return fpga.ReadReg(4, value); });
  fails([&] { return fpga.WriteReg(4, 9, __LINE__); });
  fails([&] { return fpga.Read(command); });
  fails([&] { return fpga.Write(command, __LINE__); });
  EXPECT_EQ(value, 77u);

  driver.failing = -1;
  EXPECT_EQ(fpga.WriteReg(4, 0x1234, __LINE__), 0);
  EXPECT_EQ(fpga.ReadReg(4, value), 0);
  EXPECT_EQ(value, 0x1234u);
}

TEST_F(FpgaTest, AMissingDeviceCanComeLater) {
  driver.present = false;
  EXPECT_EQ(Dev::FpgaDev::GetDevice(), nullptr);
  EXPECT_EQ(errno, ENOENT);
  driver.present = true;
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  ASSERT_NE(fpga, nullptr);
  EXPECT_EQ(Dev::FpgaDev::GetDevice(), fpga);
}

}  // namespace

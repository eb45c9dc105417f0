#include "platform/rooted.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/local.h"
#include "tests/platform/test_instrument.h"

namespace platform {
namespace {

TEST(RootDirectory, NeverLeadsOutOfTheRoot) {
  const RootDirectory root("/tmp/q5/");
  const struct {
    const char* path;
    const char* mapped;
    bool leaves;
  } cases[] = {
      {"/varek/config/a.cfg", "/tmp/q5/varek/config/a.cfg", false},
      {"./snapshot.cmd", "/tmp/q5/snapshot.cmd", false},
      {"//media//p3/logs//naklogs/", "/tmp/q5/media/p3/logs/naklogs/", false},
      {"/var/../tmp/./x", "/tmp/q5/tmp/x", false},
      {"/../../etc/passwd", "/tmp/q5/etc/passwd", true},
      {"../x", "/tmp/q5/x", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(root.Map(c.path), c.mapped) << c.path;
    EXPECT_EQ(RootDirectory::Leaves(c.path), c.leaves) << c.path;
  }
}

class LocalBackendTest : public testing::Test {
 protected:
  TemporaryRoot root_;
  TestInstrument instrument_;
  FakeClock clock_;
  LocalBackend backend_{instrument_, clock_, root_.Path()};
};

TEST_F(LocalBackendTest, OrdinaryFilesLieUnderTheRoot) {
  const int fd = backend_.Open("/file", O_CREAT | O_RDWR, 0600);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(backend_.Write(fd, "abc", 3), 3);
  EXPECT_EQ(backend_.Close(fd), 0);
  EXPECT_EQ(std::filesystem::file_size(root_.Path() + "/file"), 3U);
  EXPECT_EQ(backend_.Open("/../etc/passwd", O_RDONLY, 0), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(backend_.Open("/dev/null", O_RDONLY, 0), -1);  // not this machine's
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(LocalBackendTest, DeviceOperationsReachTheModel) {
  const int fd = backend_.Open(TestInstrument::kPath, O_RDWR, 0);
  const int other = backend_.Open("//dev/./test", O_RDWR, 0);
  ASSERT_GE(fd, 0);
  ASSERT_NE(fd, other);

  Dev::FpgaCmd command{Dev::FPGA_REG, 22, 0, 0, 0};
  EXPECT_EQ(backend_.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), 5);
  EXPECT_EQ(command.val, 66U);
  command.offset = -2;
  EXPECT_EQ(backend_.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(backend_.Ioctl(fd, Dev::Q5FPGA_CMD_RD, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(backend_.Ioctl(fd, I2C_SLAVE, reinterpret_cast<void*>(0x70)), 0);
  EXPECT_EQ(instrument_.slave, 0x70);

  EXPECT_EQ(backend_.Mmap(nullptr, 2 * TestInstrument::kMemoryBytes, PROT_READ, MAP_SHARED, fd, 0),
            MAP_FAILED);
  EXPECT_EQ(errno, ENXIO);
  auto* memory = static_cast<char*>(backend_.Mmap(nullptr, TestInstrument::kMemoryBytes,
                                                  PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  ASSERT_NE(memory, MAP_FAILED);
  memory[1] = 'x';
  auto* again = static_cast<char*>(
      backend_.Mmap(nullptr, TestInstrument::kMemoryBytes, PROT_READ, MAP_SHARED, other, 0));
  ASSERT_NE(again, MAP_FAILED);
  EXPECT_EQ(again[1], 'x');
  backend_.Munmap(memory, TestInstrument::kMemoryBytes);
  backend_.Munmap(again, TestInstrument::kMemoryBytes);

  EXPECT_EQ(backend_.Close(fd), 0);
  EXPECT_EQ(backend_.Close(other), 0);
  EXPECT_EQ(instrument_.open_files, 0);
  EXPECT_EQ(backend_.Close(fd), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(LocalBackendTest, SmbusDataTravelsInPlaceOfItsPointer) {
  const int fd = backend_.Open(TestInstrument::kPath, O_RDWR, 0);
  i2c_smbus_data data{};
  data.block[0] = 7;
  data.block[33] = 9;
  i2c_smbus_ioctl_data record{I2C_SMBUS_READ, 2, I2C_SMBUS_BLOCK_DATA, &data};
  EXPECT_EQ(backend_.Ioctl(fd, I2C_SMBUS, &record), 0);
  EXPECT_EQ(data.block[0], 9);
  EXPECT_EQ(data.block[33], 11);
  record.read_write = I2C_SMBUS_WRITE;  // a write leaves the caller's data alone
  EXPECT_EQ(backend_.Ioctl(fd, I2C_SMBUS, &record), 0);
  EXPECT_EQ(data.block[0], 9);
  record.data = nullptr;
  EXPECT_EQ(backend_.Ioctl(fd, I2C_SMBUS, &record), 0);
  backend_.Close(fd);
}

TEST_F(LocalBackendTest, CloseEndsAReadThatWaits) {
  const int fd = backend_.Open(TestInstrument::kPath, O_RDWR, 0);
  std::jthread reader([&] {
    char byte = 0;
    EXPECT_EQ(backend_.Read(fd, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
  });
  while (instrument_.reading == 0) std::this_thread::yield();
  backend_.Close(fd);
}

TEST(Machine, RefusesARootThatIsNoDirectory) {
  for (const char* root : {"/nonexistent/q5", "/", ""}) {
    EXPECT_EXIT(
        {
          ::setenv("Q5_ROOT", root, 1);
          Machine();
        },
        testing::ExitedWithCode(1), "Q5_ROOT=");
  }
}

}  // namespace
}  // namespace platform

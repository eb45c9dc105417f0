// The program q5sim as a person or a script runs it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/fpga_driver.h"
#include "platform/virtual.h"
#include "tests/integration/process.h"

namespace test {
namespace {

using testing::HasSubstr;

TEST(Q5sim, LeavesNoSocketBehind) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Bench bench;
    EXPECT_TRUE(std::filesystem::exists(bench.root / "q5sim.sock"));
    bench.simulator->Signal(signal);
    EXPECT_EQ(bench.simulator->Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(bench.root / "q5sim.sock"));
    EXPECT_FALSE(std::filesystem::exists(bench.root / "q5sim.ctl"));
  }
}

TEST(Q5sim, ADaemonsDeviceSurvivesItsDeath) {
  Bench bench;
  platform::VirtualBackend backend(bench.root.Path());
  const int fd = backend.Open(Dev::kFpgaDevicePath, O_RDWR, 0);
  ASSERT_GE(fd, 0);
  Dev::FpgaCmd command{Dev::FPGA_REG, 0, 0, 0, 0};
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), 0);
  EXPECT_EQ(command.val, 0x4984U);

  bench.simulator->Signal(SIGKILL);
  EXPECT_EQ(bench.simulator->Wait(), 128 + SIGKILL);
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), -1);
  bench.StartSimulator();  // over the sockets that the killed one left
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), 0);
  EXPECT_EQ(backend.Close(fd), 0);
}

TEST(Q5sim, SamplesStreamOverTheSocket) {
  Bench bench;
  platform::VirtualBackend backend(bench.root.Path());
  const int fd = backend.Open(Dev::kFpgaDevicePath, O_RDWR, 0);
  auto* ring = static_cast<std::uint32_t*>(
      backend.Mmap(nullptr, Dev::kSampleRingBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  ASSERT_NE(ring, MAP_FAILED);
  Dev::FpgaCmd start{Dev::FPGA_REG, 0, 0, 0, 0};  // at the oscillator's 25 MHz / 2 / 64
  ASSERT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, &start), 0);
  const auto read = [&] {
    Dev::FpgaCmd command{Dev::FPGA_REG, 18, 2, 0, 0};
    EXPECT_EQ(backend.Read(fd, &command, sizeof command), 20);
    return command.val;
  };
  const std::uint32_t first = read();
  EXPECT_GT(first, 0U);
  EXPECT_EQ(first % 2, 0U);
  EXPECT_GT(read(), first);
  for (std::uint32_t pair = 0; pair < 1024; ++pair) EXPECT_EQ(ring[2 * pair] & 0x3F, pair % 32);

  ASSERT_EQ(bench.Control({"fault", "samples", "stuck"}).status, 0);
  std::thread reader([&] {
    // What was complete before the stream stood still comes first; then a read waits for the stop.
    for (std::uint32_t last = 0, next = read(); next != last; next = read()) last = next;
  });
  Dev::FpgaCmd stop{Dev::FPGA_REG, 14, 0, 0, 0};
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_STOP_ACQUISITION, &stop), 0);
  reader.join();
  backend.Munmap(ring, Dev::kSampleRingBytes);
}

TEST(Q5sim, SaysInOneLineWhyItCannotRun) {
  Bench bench;
  const std::string bad_config = bench.root / "bad.json";
  std::ofstream(bad_config) << "{\"seed\": \"x\"}";
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* line;
  } cases[] = {
      {{"--root", bench.root.Path()}, 1, "already served by the q5sim with process id"},
      {{"--root", bench.root / "b", "--config", bad_config}, 2, "\"seed\" must be"},
      {{"eeprom", "unpack", bad_config, bench.root / "x"}, 1, "bad.json: magic"},
      {{"ctl", "--root", bench.root / "none", "list"}, 1, "no q5sim answers"},
      {{"ctl", "--root", bench.root.Path(), "fault", "ethb", "garbage"}, 1, "error unsupported"},
      {{}, 2, "--root is required"},
  };
  for (const auto& c : cases) {
    const Result result = RunProgram("q5sim", c.arguments);
    EXPECT_EQ(result.status, c.status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(c.line));
  }
}

TEST(Q5sim, TwoInstrumentsStandSideBySide) {
  Bench first;
  Bench second;
  EXPECT_NE(first.AddressOf("meas"), second.AddressOf("meas"));
}

}  // namespace
}  // namespace test

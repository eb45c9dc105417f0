// The program q5sim as a person or a script runs it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/unique_fd.h"
#include "platform/virtual.h"
#include "tests/platform/test_instrument.h"

extern char** environ;

namespace {

using testing::HasSubstr;

/// A run of the program with both its outputs on one pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), Q5SIM_PROGRAM);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
    output_.Reset(ends[0]);
    const platform::UniqueFd input(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.Get(), 1);
    posix_spawn_file_actions_adddup2(&actions, input.Get(), 2);
    if (::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) std::abort();
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Program() {
    if (pid_ > 0) Kill(SIGKILL);
  }

  std::string ReadLine() {
    std::string line;
    for (char c = 0; ::read(output_.Get(), &c, 1) == 1 && c != '\n';) line += c;
    return line;
  }
  /// Exit status, or minus the signal.
  int Wait() {
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  int Kill(int signal) {
    ::kill(pid_, signal);
    return Wait();
  }

 private:
  pid_t pid_ = -1;
  platform::UniqueFd output_;
};

struct Outcome {
  int status;
  std::string line;
};

Outcome RunToEnd(std::vector<std::string> arguments) {
  Program program(std::move(arguments));
  std::string line = program.ReadLine();
  return {program.Wait(), std::move(line)};
}

class Q5simTest : public testing::Test {
 protected:
  std::unique_ptr<Program> Start() {
    auto program = std::make_unique<Program>(
        std::vector<std::string>{"--root", root_.Path(), "--subnet", "auto"});
    EXPECT_THAT(program->ReadLine(), HasSubstr("q5sim seed "));
    EXPECT_EQ(program->ReadLine(), "q5sim ready " + root_.Path());
    return program;
  }
  Outcome Ctl(std::vector<std::string> words) {
    words.insert(words.begin(), {"ctl", "--root", root_.Path()});
    return RunToEnd(std::move(words));
  }

  platform::TemporaryRoot root_;
};

TEST_F(Q5simTest, LeavesNoSocketBehind) {
  for (const int signal : {SIGTERM, SIGINT}) {
    auto program = Start();
    EXPECT_TRUE(std::filesystem::exists(root_.Path() + "/q5sim.sock"));
    EXPECT_EQ(program->Kill(signal), 0);
    EXPECT_FALSE(std::filesystem::exists(root_.Path() + "/q5sim.sock"));
    EXPECT_FALSE(std::filesystem::exists(root_.Path() + "/q5sim.ctl"));
  }
}

TEST_F(Q5simTest, ADaemonsDeviceSurvivesItsDeath) {
  auto program = Start();
  platform::VirtualBackend backend(root_.Path());
  const int fd = backend.Open("/dev/q5fpga0", O_RDWR, 0);
  ASSERT_GE(fd, 0);
  Dev::FpgaCmd command{Dev::FPGA_REG, 0, 0, 0, 0};
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), 0);
  EXPECT_EQ(command.val, 0x4984U);

  EXPECT_EQ(program->Kill(SIGKILL), -SIGKILL);
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), -1);
  program = Start();  // over the sockets that the killed one left
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command), 0);
  EXPECT_EQ(backend.Close(fd), 0);
}

TEST_F(Q5simTest, SamplesStreamOverTheSocket) {
  auto program = Start();
  platform::VirtualBackend backend(root_.Path());
  const int fd = backend.Open(Dev::kFpgaDevicePath, O_RDWR, 0);
  const int pages = backend.Open("/sys/fpgaattr/rxfpga", O_RDONLY, 0);
  ASSERT_GE(pages, 0);
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

  ASSERT_EQ(Ctl({"fault", "samples", "stuck"}).status, 0);
  std::thread reader([&] {
    // What was complete before the stream stood still comes first; then a read waits for the stop.
    for (std::uint32_t last = 0, next = read(); next != last; next = read()) last = next;
  });
  Dev::FpgaCmd stop{Dev::FPGA_REG, 14, 0, 0, 0};
  EXPECT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_STOP_ACQUISITION, &stop), 0);
  reader.join();

  ASSERT_EQ(Ctl({"fault", "samples", "ok"}).status, 0);
  ASSERT_EQ(backend.Ioctl(fd, Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, &start), 0);
  const auto page_count = [&] {
    char text[16] = "";
    EXPECT_GT(backend.Pread(pages, text, sizeof text - 1, 0), 0);
    return std::strtoul(text, nullptr, 16);
  };
  for (const auto before = page_count(); page_count() == before;) std::this_thread::yield();
  backend.Munmap(ring, Dev::kSampleRingBytes);
}

TEST_F(Q5simTest, CtlSpeaksToIt) {
  EXPECT_EQ(Ctl({"list"}).status, 1);
  auto program = Start();
  EXPECT_THAT(Ctl({"list"}).line, HasSubstr("fault: ethb(off,slow,intermittent) fpga("));
  EXPECT_EQ(Ctl({"fault", "fpga", "slow", "20"}).status, 0);
  EXPECT_EQ(Ctl({"fault", "fpga"}).line, "ok slow 20");
  const Outcome refused = Ctl({"fault", "ethb", "garbage"});
  EXPECT_EQ(refused.line, "error unsupported");
  EXPECT_EQ(refused.status, 1);
}

TEST_F(Q5simTest, SaysInOneLineWhyItCannotRun) {
  const std::string bad_config = root_.Path() + "/bad.json";
  std::ofstream(bad_config) << "{\"seed\": \"x\"}";
  auto program = Start();
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* line;
  } cases[] = {
      {{"--root", root_.Path()}, 1, "already served by the q5sim with process id"},
      {{"--root", root_.Path() + "/b", "--config", bad_config}, 2, "\"seed\" must be"},
      {{"--root", root_.Path() + "/b", "--subnet", "10.0.0"}, 1, "expected 127.0.N"},
      {{"--root", "/"}, 1, "own root"},
      {{"eeprom", "unpack", bad_config, root_.Path() + "/x"}, 1, "bad.json: magic"},
      {{"eeprom", "pack", "--raw", bad_config, root_.Path() + "/x"}, 1, "not well-formed XML"},
      {{"eeprom", "burn"}, 2, "subcommand"},
      {{}, 2, "--root is required"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = RunToEnd(c.arguments);
    EXPECT_EQ(outcome.status, c.status) << outcome.line;
    EXPECT_THAT(outcome.line, HasSubstr(c.line));
  }
  EXPECT_EQ(program->Kill(SIGTERM), 0);
}

TEST_F(Q5simTest, TwoInstrumentsStandSideBySide) {
  auto first = Start();
  platform::TemporaryRoot other;
  Program second({"--root", other.Path(), "--subnet", "auto"});
  second.ReadLine();
  EXPECT_EQ(second.ReadLine(), "q5sim ready " + other.Path());
  platform::VirtualBackend one(root_.Path());
  platform::VirtualBackend two(other.Path());
  EXPECT_NE(one.HostAddress(), two.HostAddress());
}

}  // namespace

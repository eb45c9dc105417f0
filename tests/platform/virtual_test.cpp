// The virtual back end against a device server in the same process, and against none.
#include "platform/virtual.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cstdio>
#include <optional>
#include <thread>

#include "platform/log_hook.h"
#include "simulator/device_server.h"
#include "tests/platform/test_instrument.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

std::mutex log_mutex;
std::vector<std::string> log_lines;

[[gnu::format(printf, 2, 0)]] void Collect(int, const char* format, std::va_list args) {
  char line[512];
  std::vsnprintf(line, sizeof line, format, args);
  const std::lock_guard lock(log_mutex);
  log_lines.emplace_back(line);
}

std::vector<std::string> TakeLog() {
  const std::lock_guard lock(log_mutex);
  return std::exchange(log_lines, {});
}

class VirtualBackendTest : public testing::Test {
 protected:
  VirtualBackendTest() {
    log_hook.Connect(Collect);
    TakeLog();
  }

  void StartServer() {
    server_.emplace(instrument_);
    ASSERT_EQ(server_->Start(root_.Path()), "");
  }
  int OpenDevice() { return backend_.Open(TestInstrument::kPath, O_RDWR, 0); }
  int ReadRegister(int fd, std::int32_t offset) {
    Dev::FpgaCmd command{Dev::FPGA_REG, offset, 0, 0, 0};
    const int result = backend_.Ioctl(fd, Dev::Q5FPGA_CMD_RD, &command);
    return result < 0 ? -1 : static_cast<int>(command.val);
  }

  TemporaryRoot root_;
  TestInstrument instrument_;
  std::optional<simulator::DeviceServer> server_;
  VirtualBackend backend_{root_.Path(), milliseconds(400)};
};

TEST_F(VirtualBackendTest, EveryOperationReachesTheServer) {
  StartServer();
  const int fd = OpenDevice();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(ReadRegister(fd, 22), 66);
  EXPECT_EQ(ReadRegister(fd, -2), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(backend_.Write(fd, "12345", 5), 5);
  EXPECT_EQ(instrument_.written, "12345");
  const std::vector<char> too_long(wire::kMaxData + 1);
  EXPECT_EQ(backend_.Write(fd, too_long.data(), too_long.size()), -1);
  EXPECT_EQ(errno, EMSGSIZE);
  instrument_.Provide("abc");
  std::vector<char> text(100000);
  EXPECT_EQ(backend_.Read(fd, text.data(), text.size()), 3);
  EXPECT_EQ(std::string(text.data(), 3), "abc");
  EXPECT_EQ(backend_.Pread(fd, text.data(), text.size(), 2), 4);
  EXPECT_EQ(std::string(text.data(), 4), "cccc");
  auto* memory = static_cast<char*>(backend_.Mmap(nullptr, TestInstrument::kMemoryBytes,
                                                  PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  ASSERT_NE(memory, MAP_FAILED);
  memory[0] = 'm';
  backend_.Munmap(memory, TestInstrument::kMemoryBytes);

  const int fpga = backend_.Open(Dev::kFpgaDevicePath, O_RDWR, 0);
  instrument_.Provide("answer");
  char record[] = "takes and is answered";
  EXPECT_EQ(backend_.Read(fpga, record, sizeof(Dev::FpgaCmd)), 6);
  EXPECT_EQ(instrument_.taken, "takes and is answere");
  EXPECT_STREQ(record, "answerand is answered");
  backend_.Close(fpga);

  EXPECT_EQ(WEXITSTATUS(backend_.System("ps")), 2);
  EXPECT_EQ(backend_.HostAddress(), "127.0.7.52");
  backend_.SystemLog("mosdaemon", 3, "line");
  EXPECT_THAT(instrument_.log, testing::HasSubstr("]: line"));

  EXPECT_EQ(backend_.Close(fd), 0);
  while (instrument_.open_files > 0) std::this_thread::yield();
  EXPECT_THAT(TakeLog(), testing::IsEmpty());
}

TEST_F(VirtualBackendTest, AWaitingReadDelaysNothingElse) {
  StartServer();
  const int fd = OpenDevice();
  std::jthread reader([&] {
    char text[8];
    EXPECT_EQ(backend_.Read(fd, text, sizeof text), 4);
  });
  while (instrument_.reading == 0) std::this_thread::yield();
  // Longer than q5sim may be silent: the server's "not yet" keeps the read alive.
  const auto end = std::chrono::steady_clock::now() + milliseconds(600);
  std::vector<std::jthread> others;
  for (int i = 1; i <= 4; ++i) {
    others.emplace_back([&, i] {
      while (std::chrono::steady_clock::now() < end) ASSERT_EQ(ReadRegister(fd, i), 3 * i);
    });
  }
  others.clear();
  instrument_.Provide("done");
  reader.join();
  backend_.Close(fd);
}

TEST_F(VirtualBackendTest, CloseEndsAWaitingRead) {
  StartServer();
  const int fd = OpenDevice();
  std::jthread reader([&] {
    char byte = 0;
    EXPECT_EQ(backend_.Read(fd, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
  });
  while (instrument_.reading == 0) std::this_thread::yield();
  EXPECT_EQ(backend_.Close(fd), 0);
}

TEST_F(VirtualBackendTest, MissingServerIsNamed) {
  EXPECT_EQ(OpenDevice(), -1);
  EXPECT_EQ(errno, ENXIO);
  EXPECT_THAT(TakeLog(),
              testing::ElementsAre(testing::AllOf(testing::HasSubstr(root_.Path() + "/q5sim.sock"),
                                                  testing::HasSubstr("no q5sim"))));
  EXPECT_EQ(backend_.System("ps"), -1);
  EXPECT_EQ(backend_.HostAddress(), "127.0.0.52");
}

TEST_F(VirtualBackendTest, TimeOfDayOutlivesTheDaemon) {
  EXPECT_GT(backend_.Clock().Realtime().tv_sec, 1000000000);  // without q5sim: this machine's
  StartServer();
  ASSERT_EQ(backend_.SetRealtime({.tv_sec = 86400, .tv_nsec = 0}), 0);
  EXPECT_NEAR(static_cast<double>(backend_.Clock().Realtime().tv_sec), 86400, 5);
  VirtualBackend next(root_.Path());
  EXPECT_NEAR(static_cast<double>(next.Clock().Realtime().tv_sec), 86400, 5);
}

TEST_F(VirtualBackendTest, GarbageLeavesTheServerRunning) {
  StartServer();
  const int fd = OpenDevice();
  UniqueFd stranger;
  ASSERT_EQ(wire::Connect((root_.Path() + wire::kSocketName).c_str(), milliseconds(500), stranger),
            0);
  for (const std::string& packet : {std::string("GET / HTTP/1.0\r\n\r\n"), std::string(24, '\xFF'),
                                    std::string(1, '\0'), std::string(wire::kMaxPacket + 9, 'z')}) {
    ASSERT_GT(::send(stranger.Get(), packet.data(), packet.size(), MSG_NOSIGNAL), 0);
    wire::Packet reply;
    ASSERT_EQ(wire::Receive(stranger.Get(), reply, std::chrono::seconds(2)), 0);
    EXPECT_EQ(reply.header.error, EPROTO);
  }
  const struct {
    wire::Op op;
    std::int64_t value;
    int error;
  } cases[] = {{wire::Op::kRead, 1 << 30, EBADF},
               {wire::Op::kAttach, 12345, ESTALE},
               {static_cast<wire::Op>(999), 0, EPROTO}};
  for (const auto& c : cases) {
    ASSERT_EQ(wire::Send(stranger.Get(), {.op = c.op, .value = c.value}, {}), 0);
    wire::Packet reply;
    ASSERT_EQ(wire::Receive(stranger.Get(), reply, std::chrono::seconds(2)), 0);
    EXPECT_EQ(reply.header.error, c.error) << static_cast<int>(c.op);
  }
  EXPECT_EQ(ReadRegister(fd, 3), 9);
  backend_.Close(fd);
}

}  // namespace
}  // namespace platform

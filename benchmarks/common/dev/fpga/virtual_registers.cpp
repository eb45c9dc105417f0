// A read-modify-write of a register on the virtual instrument, which takes two requests over its
// socket, beside two round trips of records as long over a plain socket with an echo behind it.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <thread>

#include "common/dev/fpga/fpga_dev.h"
#include "platform/real_clock.h"
#include "platform/virtual.h"
#include "platform/wire.h"
#include "simulator/device_server.h"
#include "simulator/virtual_instrument.h"
#include "tests/platform/temporary_root.h"

namespace {

constexpr std::size_t kRecordBytes = sizeof(platform::wire::Header) + sizeof(Dev::FpgaCmd);

void BM_EchoTwice(benchmark::State& state) {
  int ends[2] = {-1, -1};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) {
    state.SkipWithError("no socket pair");
    return;
  }
  std::thread echo([fd = ends[1]] {
    std::array<char, kRecordBytes> record{};
    for (ssize_t count = 0; (count = ::recv(fd, record.data(), record.size(), 0)) > 0;) {
      ::send(fd, record.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL);
    }
  });
  std::array<char, kRecordBytes> record{};
  for ([[maybe_unused]] auto _ : state) {
    for (int request = 0; request < 2; ++request) {
      benchmark::DoNotOptimize(::send(ends[0], record.data(), record.size(), MSG_NOSIGNAL));
      benchmark::DoNotOptimize(::recv(ends[0], record.data(), record.size(), 0));
    }
  }
  ::close(ends[0]);
  echo.join();
  ::close(ends[1]);
}
BENCHMARK(BM_EchoTwice)->UseRealTime();

void BM_VirtualChangeReg(benchmark::State& state) {
  const platform::TemporaryRoot root;
  platform::RealClock clock;
  simulator::Config config;
  config.seed = 1;
  simulator::VirtualInstrument instrument(config, root.Path(), clock);
  simulator::DeviceServer server(instrument);
  if (!server.Start(root.Path()).empty()) {
    state.SkipWithError("the instrument cannot be served");
    return;
  }
  platform::VirtualBackend backend(root.Path());
  const platform::ScopedBackend scope(backend);
  Dev::FpgaDev fpga(backend.Open("/dev/q5fpga0", O_RDWR, 0));
  for ([[maybe_unused]] auto _ : state) {
    if (fpga.ChangeReg(Dev::Q5FPGA_MISC_CTRL, 0, Dev::kAllokOut, __LINE__) < 0) {
      state.SkipWithError("a request failed");
      return;
    }
  }
}
BENCHMARK(BM_VirtualChangeReg)->UseRealTime();

}  // namespace

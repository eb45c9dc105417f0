// A read-modify-write of a register beside the bare ioctl calls, and the samples of the high-speed
// waveforms beside a plain loop of sin.
//
// Both paths end in the same calls: the descriptor is an empty file, for which the kernel knows no
// request, so what is measured is the way there and back. The back end answers in the driver's
// stead that the call succeeded, or every request would be logged.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/fpga/waveform_samples.h"
#include "platform/board.h"

namespace {

class StubbedBoard final : public platform::Backend {
 public:
  int Open(const char* path, int flags, mode_t mode) override {
    return board_.Open(path, flags, mode);
  }
  int Close(int fd) override { return board_.Close(fd); }
  ssize_t Read(int fd, void* data, size_t size) override { return board_.Read(fd, data, size); }
  ssize_t Pread(int fd, void* data, size_t size, off_t offset) override {
    return board_.Pread(fd, data, size, offset);
  }
  ssize_t Write(int fd, const void* data, size_t size) override {
    return board_.Write(fd, data, size);
  }
  int Ioctl(int fd, unsigned long request, void* argument) override {
    benchmark::DoNotOptimize(board_.Ioctl(fd, request, argument));
    return 0;
  }
  void* Mmap(void* address, size_t length, int protection, int flags, int fd,
             off_t offset) override {
    return board_.Mmap(address, length, protection, flags, fd, offset);
  }
  int Munmap(void* address, size_t length) override { return board_.Munmap(address, length); }
  std::string Path(std::string_view path) const override { return board_.Path(path); }
  int System(const char*) override { return -1; }
  int SetRealtime(const timespec&) override { return -1; }
  std::string HostAddress() override { return "127.0.0.1"; }
  void SystemLog(const char*, int, const char*) override {}
  platform::Clock& Clock() override { return board_.Clock(); }

 private:
  platform::BoardBackend board_;
};

void BM_BareIoctls(benchmark::State& state) {
  const int fd = ::open("/dev/null", O_RDWR);
  Dev::FpgaCmd command{};
  for ([[maybe_unused]] auto _ : state) {
    command.devtype = Dev::FPGA_REG;
    command.offset = Dev::Q5FPGA_MISC_CTRL;
    benchmark::DoNotOptimize(::ioctl(fd, Dev::Q5FPGA_CMD_RD, &command));
    command.val |= Dev::kAllokOut;
    benchmark::DoNotOptimize(::ioctl(fd, Dev::Q5FPGA_CMD_WR, &command));
  }
  ::close(fd);
}
BENCHMARK(BM_BareIoctls);

/// Argument: the register, one that is not traced and one that is (and whose line is filtered out).
void BM_ChangeReg(benchmark::State& state) {
  StubbedBoard board;
  const platform::ScopedBackend scope(board);
  Dev::FpgaDev fpga(board.Open("/dev/null", O_RDWR, 0));
  const int offset = static_cast<int>(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(fpga.ChangeReg(offset, 0, Dev::kAllokOut, __LINE__));
  }
}
BENCHMARK(BM_ChangeReg)->Arg(Dev::Q5FPGA_MISC_CTRL)->Arg(Dev::Q5FPGA_WFORM_CTRL);

template <class Fill>
void MeasureFill(benchmark::State& state, Fill fill) {
  std::vector<std::int16_t> samples(Dev::kHighSpeedCycle);
  for ([[maybe_unused]] auto _ : state) {
    fill(samples);
    benchmark::DoNotOptimize(samples.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}

void BM_PlainSinLoop(benchmark::State& state) {
  MeasureFill(state, [](std::vector<std::int16_t>& samples) {
    const double step = 2 * std::numbers::pi / static_cast<double>(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] =
          static_cast<std::int16_t>(std::lrint(std::sin(step * static_cast<double>(i)) * 32767));
    }
  });
}
BENCHMARK(BM_PlainSinLoop)->Unit(benchmark::kMillisecond);

void BM_Sine(benchmark::State& state) { MeasureFill(state, Dev::FillSine); }
BENCHMARK(BM_Sine)->Unit(benchmark::kMillisecond);
void BM_Chirp(benchmark::State& state) { MeasureFill(state, Dev::FillChirp); }
BENCHMARK(BM_Chirp)->Unit(benchmark::kMillisecond);
void BM_Sweep(benchmark::State& state) { MeasureFill(state, Dev::FillSweep); }
BENCHMARK(BM_Sweep)->Unit(benchmark::kMillisecond);

}  // namespace

// An instrument that samples at 512 pairs a cycle of 60 Hz, as the daemon's clock plan has it.
#pragma once

#include <sys/mman.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <span>

#include "platform/fpga_driver.h"
#include "tests/simulator/si5338_fixture.h"

namespace simulator {

class SampleTest : public ClockChipTest {
 protected:
  static constexpr long double kRate = 30720;  // pairs a second

  ~SampleTest() override {
    if (!ring_.empty()) backend_->Munmap(ring_.data(), Dev::kSampleRingBytes);
  }

  void StartFpga() {
    Start();
    fd_ = backend_->Open(Dev::kFpgaDevicePath, O_RDWR, 0);
    ASSERT_GE(fd_, 0);
    void* start =
        backend_->Mmap(nullptr, Dev::kSampleRingBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
    ASSERT_NE(start, MAP_FAILED);
    ring_ = {static_cast<std::int32_t*>(start), Dev::kSampleRingBytes / 4};
  }
  void Start60Hz() {
    StartFpga();
    Program(Plan(kMsn60Hz, kMs60Hz, 0));
    Finish();
    Request(Dev::Q5FPGA_CMD_WR, 24, 4095);
    Request(Dev::Q5FPGA_CMD_WR, 6, 0x0800 | 0x0100 | 0x20);  // waveform / 4, converter / 8
    clock_.SetAutoAdvance(true);
  }
  int Request(unsigned long request, std::int32_t offset, unsigned value) {
    Dev::FpgaCmd command{Dev::FPGA_REG, offset, value, 0, 0};
    return backend_->Ioctl(fd_, request, &command) < 0 ? -errno : 0;
  }
  int StartSampling() { return Request(Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, 0, 0); }
  int StopSampling() { return Request(Dev::Q5FPGA_CMD_STOP_ACQUISITION, 14, 0); }
  ssize_t Announce(unsigned bytes) {
    const Dev::FpgaCmd command{Dev::FPGA_REG, Dev::Q5FPGA_CMD_SAMPLEBLOCK_NUM, bytes, 0, 0};
    return backend_->Write(fd_, &command, sizeof command);
  }
  /// The driver's counter at the next end of a block of two pages; -1 with errno.
  int ReadCounter(int fd = -1) {
    Dev::FpgaCmd command{Dev::FPGA_REG, 18, 2, 0, 0};
    const ssize_t size = backend_->Read(fd < 0 ? fd_ : fd, &command, sizeof command);
    return size == sizeof command ? static_cast<int>(command.val) : -1;
  }

  /// Word `channel` of the pair that is the `pair`-th since the start.
  std::uint32_t Word(std::size_t pair, std::size_t channel) const {
    return static_cast<std::uint32_t>(ring_[(pair * 2 + channel) % ring_.size()]);
  }
  int Sample(std::size_t pair, std::size_t channel) const {
    return ring_[(pair * 2 + channel) % ring_.size()] >> 8;
  }
  unsigned Condition(std::size_t pair, std::size_t channel) const {
    return Word(pair, channel) & 0xC0;
  }
  void AdvancePairs(double pairs) {
    clock_.Advance(
        platform::Nanoseconds(static_cast<std::int64_t>(std::ceil(pairs / 30720 * 1e9))));
    instrument_->Update();
  }

  // --- The front ends ---

  MeasChannelBoard& Board(std::size_t channel) { return *instrument_->Channel(channel); }
  /// One write to a CPLD, and the time that it takes.
  void WriteCpld(std::size_t channel, std::uint8_t select, const Bytes& out) {
    Bytes in(out.size());
    Board(channel).Cpld().Exchange(select, out, in, false);
    clock_.Advance(std::chrono::milliseconds(60));
  }
  void Configure(std::size_t channel, InputMode mode, unsigned filter) {
    WriteCpld(channel, 2,
              {0x81, static_cast<std::uint8_t>(0xE0 | filter),
               static_cast<std::uint8_t>(static_cast<unsigned>(mode) << 5)});
  }
  void SetRange(std::size_t channel, std::uint8_t code) { WriteCpld(channel, 8, {code}); }
  void Prepare(std::size_t channel, InputMode mode, unsigned filter, std::uint8_t code) {
    Configure(channel, mode, filter);
    SetRange(channel, code);
    Board(channel).SetDac(0, 0x8000);
  }

  /// The mean over whole cycles of 512 pairs from the `first` on.
  long double Mean(std::size_t channel, std::size_t first, std::size_t cycles) const {
    long double sum = 0;
    for (std::size_t i = 0; i < 512 * cycles; ++i) sum += Sample(first + i, channel);
    return sum / static_cast<long double>(512 * cycles);
  }
  /// Peak and phase (against a sine that begins with pair 0) at `hertz`, over whole cycles of 60
  /// Hz.
  std::complex<long double> Project(std::size_t channel, std::size_t first, std::size_t cycles,
                                    long double hertz = 60) const {
    std::complex<long double> sum = 0;
    const std::size_t pairs = 512 * cycles;
    for (std::size_t i = first; i < first + pairs; ++i) {
      const long double turns = hertz * static_cast<long double>(i) / kRate;
      const long double angle = 2 * std::numbers::pi_v<long double> * (turns - std::floor(turns));
      sum += static_cast<long double>(Sample(i, channel)) *
             std::complex<long double>(std::sin(angle), std::cos(angle));
    }
    return sum * (2 / static_cast<long double>(pairs));
  }

  int fd_ = -1;
  std::span<std::int32_t> ring_;
};

}  // namespace simulator

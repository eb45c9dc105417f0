// The driver's side of sampling: its requests, and reads that wait for a block.
#include <algorithm>
#include <cerrno>
#include <string>

#include "simulator/fpga/registers.h"
#include "simulator/fpga_model.h"

namespace simulator {
namespace {

using namespace fpga;

constexpr std::int32_t kStatusOffset = 18;
/// A read that has waited for so long answers "not yet".
constexpr platform::Nanoseconds kLongestWait = std::chrono::milliseconds(200);

bool IsRegister(const Dev::FpgaCmd& command, std::int32_t offset) {
  return command.devtype == Dev::FPGA_REG && command.offset == offset;
}

}  // namespace

int FpgaModel::StartSampling(const Dev::FpgaCmd& command) {
  if (command.devtype != Dev::FPGA_REG) return -EINVAL;
  Refresh();
  const int result = sampler_.Start(clock_.Monotonic());
  sampling_changed_.notify_all();
  return result;
}

int FpgaModel::StopSampling(const Dev::FpgaCmd& command) {
  if (!IsRegister(command, kA2dCtrl)) return -EINVAL;
  Refresh();
  sampler_.Stop();
  sampling_changed_.notify_all();
  return 0;
}

ssize_t FpgaModel::AnnounceBlock(const Dev::FpgaCmd& command) {
  if (faults_.Now() == Fault::kOff) return -EIO;
  faults_.Hold(clock_);
  if (command.offset != Dev::Q5FPGA_CMD_SAMPLEBLOCK_NUM) return -EINVAL;
  const platform::Lock lock(mutex_);
  Refresh();
  const int result = sampler_.Announce(command.val);
  return result < 0 ? result : static_cast<ssize_t>(sizeof command);
}

/// Blocks end with the counter at multiples of the pages that the caller names. When sampling does
/// not run the counter is returned as it is, after a while, so that nobody waits for ever.
ssize_t FpgaModel::AwaitBlock(Dev::FpgaCmd& command, SampleReader& reader) {
  if (faults_.Now() == Fault::kOff) return -EIO;
  if (!IsRegister(command, kStatusOffset)) return -EINVAL;
  if (faults_.Chosen() == Fault::kHang) {
    clock_.SleepFor(kLongestWait);
    return -EAGAIN;
  }
  platform::Lock lock(mutex_);
  Refresh();
  const std::uint64_t pages = command.val == 0 ? sampler_.BlockPages() : command.val;
  const auto counter = [&] {
    command.val = static_cast<std::uint32_t>(sampler_.Counter(pages, clock_.Monotonic()));
    return static_cast<ssize_t>(sizeof command);
  };
  if (sampler_.Take(reader, pages, clock_.Monotonic())) return counter();
  const platform::Nanoseconds latest = clock_.Monotonic() + kLongestWait;
  do {  // from the start again when the sample clock has changed
    const platform::Nanoseconds now = clock_.Monotonic();
    auto until = sampler_.NextBoundary(reader, pages, now).value_or(latest);
    if (until <= now || until > latest) until = latest;
    clock_.DozeUntil(sampling_changed_, lock, until);
    Refresh();
    if (sampler_.Take(reader, pages, clock_.Monotonic())) return counter();
  } while (sampler_.IsRunning() && clock_.Monotonic() < latest);
  return sampler_.IsRunning() ? -EAGAIN : counter();
}

/// Takes over what the samples depend on, as it is from now on.
void FpgaModel::FollowSamples(const Clocks& clocks) {
  const platform::Nanoseconds now = clock_.Monotonic();
  const unsigned control = *registers_.Read(kA2dCtrl);
  SampleConditions conditions;
  if (clocks.waveform) {
    const Wide cycle =
        memory_.IsFast() ? WaveformMemory::kFastSamples : *registers_.Read(kCycleLength) + 1U;
    conditions.test_frequency =
        *clocks.waveform / Fraction(ClockTree::kClocksPerWaveformSample * cycle);
  }
  conditions.line_hertz = line_sync_.Line().Hertz(now);
  const auto rate = sampler_.Rate();
  sampler_.Configure(now, clocks.converter, conditions,
                     {(control & kInvertChannel1) != 0, (control & kInvertChannel2) != 0});
  if (sampler_.Rate() != rate) sampling_changed_.notify_all();
}

void FpgaModel::AddSampleValues(Units& units) {
  units.AddValue("samples.rate", [this] {
    const platform::Lock lock(mutex_);
    Refresh();
    return sampler_.Rate() ? HertzText(*sampler_.Rate()) : "off";
  });
  units.AddValue("samples.counter", [this] {
    const platform::Lock lock(mutex_);
    Refresh();
    return std::to_string(sampler_.Pages());
  });
  units.AddValue("samples.block", [this] {
    const platform::Lock lock(mutex_);
    return std::to_string(sampler_.BlockPages());
  });
  units.AddValue("samples.running", [this] {
    const platform::Lock lock(mutex_);
    return sampler_.IsRunning() ? "1" : "0";
  });
  units.AddMemory("samples.ring", sampler_.Memory());
}

}  // namespace simulator

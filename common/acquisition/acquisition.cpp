#include "common/acquisition/acquisition.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/fpga/fpga_registers.h"
#include "common/lib/instrument_file.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "platform/backend.h"
#include "platform/device_fd.h"
#include "platform/fpga_driver.h"
#include "platform/guarded.h"

namespace acquisition {

using Msg::ghmp;
using platform::Machine;

namespace {

/// Nothing here writes to these files; they are made for tools that look for them.
constexpr const char* kScratchFiles[] = {"/var/volatile/cap1_p1.txt", "./Accreset.cmd",
                                         "./reset_filter.cmd"};

/// 0 or errno. `fd` is the device, opened for the stop alone.
int StopSampling(int fd) {
  std::uint32_t value = 0;
  if (SampleStream::Request(fd, Dev::Q5FPGA_CMD_RD, Dev::Q5FPGA_A2D_CTRL, value) < 0) {
    Q5_LOG_ERROR(acquisitionL, "ioctl2 RD error\n");
  } else if (value != 0) {
    Q5_LOG_INFO(acquisitionL, "value = %x\n", value);
  }
  value = 0;
  const int result =
      SampleStream::Request(fd, Dev::Q5FPGA_CMD_STOP_ACQUISITION, Dev::Q5FPGA_A2D_CTRL, value);
  const int error = result < 0 ? errno : 0;
  if (error != 0) Q5_LOG_ERROR(acquisitionL, "ioctl2 WR error\n");
  return error;
}

template <class Number>
Number OrDefault(Number value, Number fallback) {
  return value < 1 ? fallback : value;
}

}  // namespace

Acquisition::Acquisition(int fpga_fd, const Outputs& outputs)
    : outputs_(outputs),
      stream_(fpga_fd, ring_),
      consumer_(counts_, outputs.channels),
      producer_({fpga_fd, ring_, stream_, pool_, counts_, snapshot_, outputs.channels,
                 outputs.correct, outputs.results}) {}

Acquisition::~Acquisition() {
  // a driver that does not stop must not keep the channels at filters that are deleted now
  if (StopAcquisition() != 0) EndRun();
}

// --- Start-up ---

const char* Acquisition::OpenFiles() {
  if (const char* failed = snapshot_.Open()) return failed;
  for (const char* path : kScratchFiles) {
    if (!lib::CreateFile(path)) return path;
  }
  if (const char* failed = producer_.Open()) return failed;
  return consumer_.Open();
}

int Acquisition::InitAcquisition() {
  if (const char* failed = OpenFiles()) {
    std::fprintf(stderr, "%s open error \n", failed);
    return -1;
  }
  if (stream_.Map() != 0) {
    std::fprintf(stderr, "Could not memory map the device\n");
    return -1;
  }
  if (pool_.Allocate() != 0) {
    std::fprintf(stderr, "No memory for the pool\n");
    return -1;
  }
  Machine().System(kClearOverflow);
  const bool started = platform::Guarded("InitAcquisition", [this] {
    producer_.Start();
    snapshot_.Start();
    consumer_.Start();
  });
  if (!started) {
    std::fprintf(stderr, "No threads for the acquisition\n");
    return -1;
  }
  g_initComplete = true;
  return 0;
}

// --- A run ---

int Acquisition::SetMeasurementParameters(const MeasurementParameters& parameters) {
  layout_.pairs = BlockLayout::IsPossible(parameters.pairs) ? parameters.pairs : kDefaultPairs;
  int samples = parameters.samplesPerCycle;
  int reset = parameters.filterReset;
  if (samples < 1 || reset < 1) {
    const int calculated =
        signalh::CalculateSamplesPerCyc(ghmp->GetFrequency(), ghmp->GetBlockReadyInterrupts());
    samples = OrDefault(samples, calculated);
    reset = OrDefault(reset, calculated);
  }
  ghmp->samplespercyc = samples;
  Logger::Capture(Logger::DEFAULTE_SAMPLES_PER_CYCLE, samples, ghmp->GetFrequency(), layout_.pairs);
  const int result = stream_.Announce(layout_);
  if (result < 0) {
    Q5_LOG_ERROR(acquisitionL, "write error to FPGA device file\n");
  }
  const long reference = OrDefault(parameters.refFrequency, kReferenceFrequency);
  ReplaceFilters(
      CreateFilters({.pairs = layout_.pairs,
                     .reference_frequency = static_cast<double>(reference),
                     .sample_clock_divider = OrDefault(parameters.clockDivider, kClockDivider),
                     .samples_per_cycle = samples,
                     .filterreset = reset,
                     .swapchannels = parameters.swapChannels,
                     .slow_filter_reset = outputs_.slow_filter_reset}));
  return result;
}

void Acquisition::ReplaceFilters(Filters filters) {
  outputs_.channels.set_SineCorrelators(filters.fast.get(), filters.slow.get());
  const std::lock_guard lock(filters_mutex_);
  filters_ = std::move(filters);
}

int Acquisition::StartAcquisition() {
  if (!g_initComplete || !filters_.slow) return -1;
  stream_.Start();
  snapshot_.Abandon();
  pool_.Begin(layout_.Bytes());
  consumer_.Begin(static_cast<int>(pool_.BlocksPerChunk()));
  producer_.Begin(layout_, filters_);
  Q5_LOG_INFO(acquisitionL, "Started Acquisition\n");
  return 0;
}

int Acquisition::StopAcquisition() {
  const std::lock_guard lock(stop_mutex_);
  Q5_LOG_INFO(acquisitionL, "STOP ACQUISITION STARTED  consumed %d samples%d\n",
              counts_.GetConsumerBlockCount(), counts_.GetSampleBlockCount());
  producer_.Halt();
  const platform::DeviceFd device(Dev::kFpgaDevicePath, O_RDONLY);
  if (!device) {
    Q5_LOG_ERROR(acquisitionL, "device open error in stop %sn", Dev::kFpgaDevicePath);
    return 1;
  }
  if (const int error = StopSampling(device.Get())) return error;
  EndRun();
  Q5_LOG_INFO(acquisitionL, "STOP ACQUISITION ENDED\n");
  return 0;
}

void Acquisition::EndRun() {
  counts_.Drain();
  Q5_LOG_INFO(acquisitionL, "Consumer count %d producer count %d \n",
              counts_.GetConsumerBlockCount(), counts_.GetSampleBlockCount());
  counts_.Clear();
  ReplaceFilters({});
}

}  // namespace acquisition

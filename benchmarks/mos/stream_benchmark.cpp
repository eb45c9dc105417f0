// The whole signal path against a virtual instrument in a process of its own, at growing pace:
// which rate it sustains without a lost block, what it costs, how long after a block's end the
// channels hear of it, and whether memory grows.
//   stream_benchmark [--seconds N] [--memory SECONDS]
//
// Each pace is measured by a process of its own (the daemon's objects are made once a process). The
// rival of its processor time is a process that only reads the driver's counter and copies blocks.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <thread>

#include "common/acquisition/acquisition.h"
#include "common/acquisition/ranging/channel_pair.h"
#include "common/acquisition/sample_ring.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/msg/state/hmp_data.h"
#include "mos/meas_mgr.h"
#include "platform/backend.h"
#include "platform/fpga_driver.h"
#include "tests/integration/process.h"
#include "tests/integration/signal_path.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr double kPairsPerSecond = 60.0 * 512;  // at start-up
constexpr int kPairs = 1024;
constexpr std::size_t kBlockBytes = 8192;

/// Sits in front of the channels and notes when things reach them.
class Watch final : public acquisition::SampleChannels {
 public:
  explicit Watch(acquisition::SampleChannels& channels) : channels_(channels) {}

  acquisition::SampleChannel& Channel(int channel) override { return channels_.Channel(channel); }
  void set_SineCorrelators(acquisition::SineCorrelator* fast,
                           acquisition::SineCorrelator* slow) override {
    channels_.set_SineCorrelators(fast, slow);
  }
  void reset_sine_correlators() override {
    ++resets;
    channels_.reset_sine_correlators();
  }
  void expect_block(const int* block, int pairs) override { channels_.expect_block(block, pairs); }
  void stream_stands_still() override { channels_.stream_stands_still(); }
  void stream_began_again() override { channels_.stream_began_again(); }
  int process_sample_buff(const int* block, int pairs) override {
    ++blocks;
    return channels_.process_sample_buff(block, pairs);
  }
  int notify_samples_received() override {
    const auto now = SteadyClock::now();
    if (events < events_at.size()) events_at[events] = {now, blocks};
    ++events;
    return channels_.notify_samples_received();
  }

  struct Event {
    SteadyClock::time_point at;
    long blocks;
  };
  std::atomic<long> blocks{0};
  std::atomic<long> resets{0};
  std::atomic<std::size_t> events{0};
  std::vector<Event> events_at = std::vector<Event>(1 << 20);

 private:
  acquisition::SampleChannels& channels_;
};

double ProcessorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long ResidentKib() {
  std::ifstream statm("/proc/self/statm");
  long size = 0;
  long resident = 0;
  statm >> size >> resident;
  return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

/// Delays of the events from number `first` on after the end of the newest block that they cover,
/// less the least of them: the stream's own start is not known to the microsecond.
std::vector<double> Latencies(const Watch& watch, double pace, std::size_t first) {
  std::vector<double> late;
  const std::size_t count = std::min(watch.events.load(), watch.events_at.size());
  for (std::size_t i = first; i < count; ++i) {
    const auto& event = watch.events_at[i];
    const double due = static_cast<double>(event.blocks) * kPairs / (kPairsPerSecond * pace);
    const double at = std::chrono::duration<double>(event.at - watch.events_at[first].at).count();
    late.push_back(at - due);
  }
  if (late.empty()) return {0};
  const double least = *std::ranges::min_element(late);
  for (double& delay : late) delay -= least;
  std::ranges::sort(late);
  return late;
}

/// In a process of its own, with Q5_ROOT set.
int Measure(double pace, double seconds) {
  if (!test::StartSignalPath()) return 1;
  Mos::MeasMgr::Instance()->EndAcquisition();
  static Watch watch(*AcquisitionSystem::ChannelPair::Instance());
  static acquisition::Acquisition acquisition(
      Dev::FpgaDev::GetDevice()->GetDeviceFd(),
      {watch, acquisition::Correct::GetCorrect(), acquisition::elec::GetElec()});
  if (acquisition.InitAcquisition() != 0) return 1;
  acquisition.SetMeasurementParameters({});
  acquisition.StartAcquisition();
  if (!test::BeginResults(1, 1)) return 1;
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const double before = ProcessorSeconds();
  const long blocks_before = watch.blocks;
  const long resets_before = watch.resets;
  const long resident = ResidentKib();
  const std::size_t first_event = watch.events;
  const auto start = SteadyClock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  const double passed = std::chrono::duration<double>(SteadyClock::now() - start).count();
  const double blocks = static_cast<double>(watch.blocks - blocks_before);
  const double share = (ProcessorSeconds() - before) / passed;
  const long resident_after = ResidentKib();
  const auto late = Latencies(watch, pace, first_event);
  const auto at = [&](double part) {
    return late[static_cast<std::size_t>(part * static_cast<double>(late.size() - 1))] * 1e6;
  };
  std::printf("%10.0f %10.0f %8ld %9.2f %9.2f %8.0f %8.0f %8ld -> %ld\n", kPairsPerSecond * pace,
              blocks * kPairs / passed, watch.resets - resets_before, share * 100,
              share * 100 * 50000 / (kPairsPerSecond * pace), at(0.5), at(0.99), resident,
              resident_after);
  std::fflush(stdout);
  return 0;
}

/// The rival: the driver's counter and a copy, nothing else.
int MeasureCopies(double pace, double seconds) {
  const int fd = platform::Machine().Open(Dev::kFpgaDevicePath, O_RDWR);
  acquisition::SampleRing ring;
  if (fd < 0 || ring.Map(fd) != 0) return 1;
  Dev::FpgaCmd start{};
  start.devtype = Dev::FPGA_REG;
  platform::Machine().Ioctl(fd, Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, &start);
  std::vector<char> block(kBlockBytes);
  const double before = ProcessorSeconds();
  const auto begin = SteadyClock::now();
  std::uint32_t counter = 0;
  while (SteadyClock::now() - begin < std::chrono::duration<double>(seconds)) {
    Dev::FpgaCmd command{};
    command.devtype = Dev::FPGA_REG;
    command.offset = 18;
    command.val = 2;
    if (platform::Machine().Read(fd, &command, sizeof command) < 0) return 1;
    for (; counter != command.val; counter += 2) {
      std::memcpy(block.data(), ring.At(counter * 4096UL % Dev::kSampleRingBytes), kBlockBytes);
    }
  }
  const double share = (ProcessorSeconds() - before) / seconds;
  std::printf("%10.0f %10s %8s %9.2f %9.2f   counter and copies alone\n", kPairsPerSecond * pace,
              "", "", share * 100, share * 100 * 50000 / (kPairsPerSecond * pace));
  std::fflush(stdout);
  return 0;
}

/// A virtual instrument at `pace`, set up by the daemon's path for the rival, too.
void Run(double pace, double seconds, bool rival) {
  const platform::TemporaryRoot root;
  test::Process simulator(
      "q5sim", {"--root", root.Path(), "--subnet", "auto", "--speed", std::to_string(pace)});
  if (!simulator.WaitForOutput("q5sim ready")) return;
  const auto in_child = [&](auto work) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::setenv("Q5_ROOT", root.Path().c_str(), 1);
      ::_exit(work());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (status != 0) std::printf("%10.0f failed\n", kPairsPerSecond * pace);
  };
  in_child([&] { return Measure(pace, seconds); });
  if (rival) in_child([&] { return MeasureCopies(pace, seconds); });
}

double Option(int argc, char** argv, const char* name, double fallback) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], name) == 0) return std::atof(argv[i + 1]);
  }
  return fallback;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = Option(argc, argv, "--seconds", 10);
  const double memory_seconds = Option(argc, argv, "--memory", 0);
  std::printf("%10s %10s %8s %9s %9s %8s %8s %8s\n", "pairs/s", "handled/s", "dumped", "CPU %",
              "at 50k/s", "p50 us", "p99 us", "KiB");
  std::fflush(stdout);
  constexpr double kFull = 50000 / kPairsPerSecond;
  for (const double pace : {1.0, kFull, 4.0, 8.0, 16.0, 32.0, 64.0}) {
    Run(pace, seconds, pace == kFull);
  }
  if (memory_seconds > 0) Run(16, memory_seconds, false);
}

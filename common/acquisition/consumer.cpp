#include "common/acquisition/consumer.h"

#include <unistd.h>

#include <array>
#include <cstdio>

#include "common/acquisition/sample_pool.h"
#include "common/lib/instrument_file.h"
#include "common/log/eventlog.h"
#include "common/log/histogram.h"
#include "common/log/log_line.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace acquisition {

namespace {

constexpr char kCountersPath[] = "/tmp/counters";
constexpr char kPhasorsPath[] = "./phasors.txt";
constexpr char kPhasorsHeading[] =
    "sample_count phase0   amp0        phase1    amp1        delta_phase_ch2-ch1    Ratio_ch1/ch2 "
    "Fast_amp0          Fast_amp1\n";
/// Without a limit the record of the counts would fill the memory that holds its file system.
constexpr long kLongestCounters = 1 << 20;
constexpr long kFullLineSeconds = 11;

}  // namespace

// --- The record of the counts ---

bool CounterFile::Create() {
  // a line each wake-up: forcing each to the disk would cost more than all other work here
  file_ = lib::CreateFile(kCountersPath, lib::Writes::kInTime);
  return static_cast<bool>(file_);
}

void CounterFile::Begin(int blocks_per_chunk, int blocks_in_pool) {
  blocks_per_chunk_ = blocks_per_chunk;
  blocks_in_pool_ = blocks_in_pool;
  lib::ReplaceContents(file_.Get(), "");
  size_ = 0;
  last_minutes_ = 0;
  last_seconds_ = 0;
  std::array<char, 80> line;
  Write(line.data(), std::snprintf(line.data(), line.size(), "%d    %d   Producer  Consumer\n",
                                   blocks_per_chunk, blocks_in_pool));
}

bool CounterFile::IsFullLineDue(long minutes, long seconds) const {
  const bool same_minute_short = seconds - last_seconds_ < kFullLineSeconds;
  const bool next_minute_short =
      minutes <= last_minutes_ || seconds + 60 - last_seconds_ < kFullLineSeconds;
  return !(same_minute_short && next_minute_short);
}

void CounterFile::Add(const Counts& counts, platform::Nanoseconds since_start) {
  if (size_ > kLongestCounters) Begin(blocks_per_chunk_, blocks_in_pool_);
  const long total = std::chrono::duration_cast<std::chrono::seconds>(since_start).count();
  const long minutes = total / 60;
  const long seconds = total % 60;
  const int backlog = counts.produced - counts.consumed;
  std::array<char, 160> line;
  int size = std::snprintf(line.data(), line.size(), "INTR %s DMA %s PR %d CON %d",
                           counts.interrupts, counts.received, counts.produced, counts.consumed);
  char* end = line.data() + size;
  const auto room = line.size() - static_cast<std::size_t>(size);
  if (IsFullLineDue(minutes, seconds)) {
    size += std::snprintf(end, room, "  %ld min %ld sec\n", minutes, seconds);
    last_minutes_ = minutes;
    last_seconds_ = seconds;
  } else if (backlog > 0) {
    size += std::snprintf(end, room, " -%d%%\n", 100 * backlog / blocks_in_pool_);
  } else {
    size += std::snprintf(end, room, "\n");
  }
  Write(line.data(), size);
}

void CounterFile::Write(const char* text, int size) {
  // a full disk loses lines of this record, nothing else
  if (::write(file_.Get(), text, static_cast<std::size_t>(size)) > 0) size_ += size;
}

// --- The consumer ---

Consumer::~Consumer() {
  counts_.End();
  if (thread_.joinable()) thread_.join();
}

const char* Consumer::Open() {
  if (!block_index_.Open(kBlockIndexPath)) return kBlockIndexPath;
  if (!received_.Open(kReceivedPath)) return kReceivedPath;
  if (!counter_file_.Create()) return kCountersPath;
  const platform::UniqueFd phasors = lib::CreateFile(kPhasorsPath);
  if (!phasors || !lib::ReplaceContents(phasors.Get(), kPhasorsHeading)) return kPhasorsPath;
  return nullptr;
}

void Consumer::Start() {
  thread_ = std::thread([this] { RunConsumer(); });
}

void Consumer::Begin(int blocks_per_chunk) {
  blocks_per_chunk_ = blocks_per_chunk;
  g_startTime = platform::Machine().Clock().Monotonic();
  g_consumerinit = false;
}

void Consumer::RunConsumer() {
  Logger::Histogram fsm_times(0, 20000, 10, "FSM");
  while (counts_.Await()) {
    if (!g_consumerinit.exchange(true)) {
      const int blocks = blocks_per_chunk_;
      counter_file_.Begin(blocks, blocks * static_cast<int>(SamplePool::kChunks));
      Q5_LOG_DEBUG(acquisitionL, "Created the counters file %s\n", kCountersPath);
    }
    fsm_times.startInterval();
    platform::Guarded("RunConsumer", [this] { Notify(); });
    fsm_times.endInterval();
    counts_.Consumed();
    platform::Guarded("RunConsumer", [this] { CountBlocks(); });
  }
}

void Consumer::Notify() {
  if (channels_.notify_samples_received() == 0) return;
  Q5_LOG_ERROR(acquisitionL, "%s.%d: ACQ_EVT_SAMPLES_RECEIVED failed\n", "RunConsumer", __LINE__);
}

void Consumer::CountBlocks() {
  block_index_.Refresh();
  received_.Refresh();
  const CounterFile::Counts counts{.interrupts = block_index_.Text(),
                                   .received = received_.Text(),
                                   .produced = counts_.GetSampleBlockCount(),
                                   .consumed = counts_.GetConsumerBlockCount()};
  Logger::eventlog::GetEventLog("moseventlog")
      ->SetSampleCounters(counts.interrupts, counts.received, counts.produced, counts.consumed);
  counter_file_.Add(counts, platform::Machine().Clock().Monotonic() - g_startTime.load());
}

}  // namespace acquisition

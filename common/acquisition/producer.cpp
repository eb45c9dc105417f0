#include "common/acquisition/producer.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "common/acquisition/sample_channel.h"
#include "common/acquisition/sample_status.h"
#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"
#include "platform/fpga_driver.h"
#include "platform/guarded.h"

namespace acquisition {

using Msg::ghmp;

namespace {

constexpr char kWaveformPath[] = "/waveform.bin";
constexpr int kStatusRegister = 18;
constexpr auto kPauseAfterFailure = std::chrono::milliseconds(100);
/// Pairs that the status check looks at.
constexpr int kCheckedPairs = 1024;
constexpr int kCyclesForHistograms = 16;
constexpr std::int32_t kRingPages = Dev::kSampleRingBytes / kPageBytes;
constexpr int kFaultBit = 1;
constexpr int kOverRangeBit = 2;

/// How far `counter` is ahead of `position`; negative when it is behind. Right across the wrap.
std::int32_t Ahead(std::uint32_t counter, std::uint32_t position) {
  return static_cast<std::int32_t>(counter - position);
}

}  // namespace

Producer::~Producer() {
  Halt();
  {
    const platform::Lock lock(g_producer_start);
    ended_ = true;
  }
  g_producer_block.notify_all();
  if (thread_.joinable()) thread_.join();
}

const char* Producer::Open() {
  waveform_file_ = lib::CreateFile(kWaveformPath);
  if (!waveform_file_) return kWaveformPath;
  return overflow_.Open(kOverflowPath) ? nullptr : kOverflowPath;
}

void Producer::Start() {
  watch_.Start();
  thread_ = std::thread([this] { RunProducer(); });
}

void Producer::Begin(const BlockLayout& layout, Filters& filters) {
  {
    const platform::Lock lock(g_producer_start);
    layout_ = layout;
    // under one lock: a pass of the previous run must not take this run's blocks
    const platform::Lock pass_lock(pass_mutex_);
    filters_ = &filters;
    watch_.Begin(layout.pairs);
    ++run_number_;
    g_running = true;
  }
  g_producer_block.notify_all();
}

void Producer::Halt() {
  g_running = false;
  const platform::Lock lock(pass_mutex_);
  filters_ = nullptr;
}

// --- The thread ---

void Producer::RunProducer() {
  Run run;
  while (AwaitRun(run)) {
    while (g_running && run_number_ == run.number) {
      if (platform::Guarded("RunProducer", [&] { Pass(run); })) continue;
      run.lost = true;  // the count of blocks is not known any more
      PauseAfterFailure();
    }
    watch_.Rest();
    Q5_LOG_INFO_HERE(acquisitionL, "%s.%d: Acquisition stopped, exiting the loop\n");
  }
}

/// False at the end.
bool Producer::AwaitRun(Run& run) {
  platform::Lock lock(g_producer_start);
  g_producer_block.wait(
      lock, [&]() Q5_REQUIRES(g_producer_start) { return ended_ || run_number_ != run.number; });
  const bool lost = run.lost;  // until the stream starts again the ring is still the old one
  run = Run();
  run.lost = lost;
  run.number = run_number_;
  run.layout = layout_;
  run.backlog = static_cast<std::uint32_t>(ghmp->GetConsumerBacklog());
  return !ended_;
}

void Producer::Pass(Run& run) {
  watch_.Waits();
  if (run.lost) return StartAgain(run);
  const auto counter = ReadCounter(run);
  if (!counter) return PauseAfterFailure();
  const bool is_new = *counter != run.previous && *counter % run.layout.Pages() == 0;
  // from here on the producer works, and the disk of a capture may be slow
  const bool stood_still = is_new && watch_.BlockCame();
  CheckStatus(run);
  CaptureWaveform(run);
  const platform::Lock lock(pass_mutex_);
  if (!g_running || run_number_ != run.number || !is_new) return;
  if (Ahead(*counter, run.position) < 0) return NoteCounterBack(run, *counter);
  if (stood_still) {
    Q5_LOG_INFO(acquisitionL, "%s.%d: samples come again\n", "RunProducer", __LINE__);
    ResetSums(run);
  }
  HandleNewBlocks(run, *counter);
  WakeConsumer();
  parts_.snapshot.Wake();
}

std::optional<std::uint32_t> Producer::ReadCounter(Run& run) {
  Dev::FpgaCmd command{};
  command.devtype = Dev::FPGA_REG;
  command.offset = kStatusRegister;
  command.val = run.layout.Pages();
  ssize_t size = 0;
  do {
    size = platform::Machine().Read(parts_.fpga_fd, &command, sizeof command);
  } while (size < 0 && errno == EINTR && g_running);
  run.lost = size != static_cast<ssize_t>(sizeof command);
  if (run.lost && !read_failed_ && g_running) {
    Q5_LOG_ERROR(acquisitionL, "%s: no block counter from %s: %m\n", "RunProducer",
                 Dev::kFpgaDevicePath);
  }
  read_failed_ = run.lost;
  if (run.lost) return std::nullopt;
  return command.val;
}

/// A counter goes back when the driver has begun again.
void Producer::NoteCounterBack(Run& run, std::uint32_t counter) {
  Q5_LOG_ERROR(acquisitionL, "%s.%d: block counter went back from %u to %u\n", "RunProducer",
               __LINE__, run.position, counter);
  run.lost = true;
}

// A driver that has failed or begun again has lost this stream. The board may have lost the set-up
// of the test, too.
void Producer::StartAgain(Run& run) {
  {
    const platform::Lock lock(pass_mutex_);
    if (!g_running || run_number_ != run.number) return;
    run.lost = !parts_.stream.StartAgain(run.layout);
    if (!run.lost) {
      run.previous = run.position = 0;
      run.source = 0;
      ResetSums(run);
      ReportStartAgain();
    }
  }
  if (run.lost) PauseAfterFailure();
}

void Producer::ReportStartAgain() const {
  Q5_LOG_WARNING(acquisitionL, "%s.%d: sampling was started again\n", "RunProducer", __LINE__);
  if (!StreamWatch::IsUpdated()) return;
  parts_.channels.stream_began_again();
  StreamWatch::RaiseStop();
}

/// A lost device answers at once.
void Producer::PauseAfterFailure() {
  platform::Clock& clock = platform::Machine().Clock();
  const auto deadline = clock.Monotonic() + kPauseAfterFailure;
  platform::Lock lock(g_producer_start);
  while (!ended_ && g_running && clock.WaitUntil(g_producer_block, lock, deadline)) {
  }
}

// --- Before the blocks ---

void Producer::CheckStatus(const Run& run) {
  const std::size_t most = (Dev::kSampleRingBytes - run.source) / kPairBytes;
  const int pairs = std::min(kCheckedPairs, static_cast<int>(most));
  const int result =
      CheckFaultAndOverRangeStatusBits(parts_.ring.At(run.source), pairs, parts_.channels);
  if ((result & kFaultBit) != 0 && ghmp->GetEnableNAKonSampleFault()) {
    RaiseOnce(Msg::NAK_MCODE_FAULT_IN_SAMPLES);
  }
  if ((result & kOverRangeBit) != 0 && !ghmp->GetConsumerFlag() &&
      ghmp->GetEnableNAKonSampleOverRange()) {
    RaiseOnce(Msg::NAK_MCODE_CPLD_OVERINPUT);
  }
}

/// Makes a last capture of the waveform as well.
void Producer::RaiseOnce(short code) {
  if (!ghmp->IsErrorCodeNew(code)) return;
  g_waveformCaptureRunning = 1;
  ghmp->SetErrorCode(code);
}

void Producer::CaptureWaveform(const Run& run) {
  int wanted = g_waveformCaptureRunning;
  if (wanted == 0 || run.source + kCaptureBytes > Dev::kSampleRingBytes) return;
  WaveformCapture(waveform_file_.Get(), parts_.ring.At(run.source), &waveform_wrap_, 1);
  if (wanted == 1) g_waveformCaptureRunning.compare_exchange_strong(wanted, 0);
}

// --- The blocks of a pass ---

void Producer::HandleNewBlocks(Run& run, std::uint32_t counter) {
  CheckCounter(run, counter);
  run.previous = counter;
  while (Ahead(counter, run.position) > 0) HandleBlock(run, counter);
}

void Producer::CheckCounter(Run& run, std::uint32_t counter) {
  run.jumped = counter - run.previous != run.layout.Pages();
  if (run.jumped) {
    Q5_LOG_WARNING(acquisitionL,
                   "%s.%d: Block counter incremented an unexpected amount: counter_4kblocks=%d "
                   "pcounter_4kblocks=%d\n",
                   "RunProducer", __LINE__, static_cast<int>(counter),
                   static_cast<int>(run.previous));
  }
  // the driver writes the block after the latest one
  if (Ahead(counter, run.position) < kRingPages && !IsFarBehind(run, counter)) return;
  Q5_LOG_ERROR(acquisitionL, "%s.%d - Dumping sample data!!\n", "RunProducer", __LINE__);
  ResetSums(run);
  // while blocks are dumped there is no new result, and the old one becomes stale
  parts_.channels.stream_stands_still();
  SkipTo(run, counter);
}

bool Producer::IsFarBehind(const Run& run, std::uint32_t counter) const {
  return Ahead(counter, run.previous) > static_cast<std::int32_t>(run.backlog) &&
         GetResetRequest() == 0 && !ghmp->GetConsumerFlag();
}

void Producer::SkipTo(Run& run, std::uint32_t counter) {
  const auto pages = std::min<std::uint32_t>(counter - run.position, kRingPages);
  parts_.ring.CountRenewed(run.source, pages);
  run.position = counter;
  run.source = counter * kPageBytes % Dev::kSampleRingBytes;
}

void Producer::Advance(Run& run) {
  run.position += run.layout.Pages();
  run.source = (run.source + run.layout.Bytes()) % Dev::kSampleRingBytes;
}

void Producer::HandleBlock(Run& run, std::uint32_t counter) {
  const bool last = Ahead(counter, run.position) <= static_cast<std::int32_t>(run.layout.Pages());
  const std::size_t written = parts_.ring.CountRenewed(run.source, run.layout.Pages());
  const int* block = CopyBlock(run);
  if (IsLost(run, written) || IsSkipped(run, counter, last)) {
    run.shed = true;
  } else {
    Process(run, block, run.layout.pairs);
    if (last) watch_.CaughtUp();
  }
  if (last) ServeResetRequest(run);
  parts_.snapshot.CheckSnapShot();
  CheckOverflow();
  Advance(run);
}

const int* Producer::CopyBlock(Run& run) {
  int* block = parts_.pool.Next();
  std::memcpy(block, parts_.ring.At(run.source), run.layout.Bytes());
  const bool chunk_full = parts_.pool.Published();
  parts_.counts.IncrSampleBlockCount();
  if (chunk_full && parts_.pool.GetPoolIndex() == 0) {
    Q5_LOG_INFO(acquisitionL, "%s.%d: mempool index incremented and wrapped around (i=%d)\n",
                "RunProducer", __LINE__, 0);
  }
  return block;
}

/// Pages that the driver has lost still hold the ring's previous contents. A block without a new
/// page may also be a signal without noise, unless the counter has reported several blocks at once.
bool Producer::IsLost(const Run& run, std::size_t written) {
  if (written == run.layout.Pages() || (written == 0 && !run.jumped)) return false;
  Q5_LOG_ERROR(acquisitionL, "%s.%d: pages at counter=%d were counted, but never written\n",
               "RunProducer", __LINE__, static_cast<int>(run.position));
  return true;
}

/// Sheds work while more blocks wait behind this one: between two cycles, and anywhere while the
/// consumer flag is up. Afterwards the sums begin again.
bool Producer::IsSkipped(const Run& run, std::uint32_t counter, bool last) const {
  if (last) return false;
  if (ghmp->GetConsumerFlag()) return true;
  if (filters_->slow->IsInMiddleOfCycle() || ghmp->meas_status == 0) return false;
  Q5_LOG_INFO(acquisitionL, "%s.%d skipping a %d block : counter=%d current counter=%d\n",
              "RunProducer", __LINE__, static_cast<int>(run.layout.Pages()),
              static_cast<int>(run.position), static_cast<int>(counter));
  return true;
}

void Producer::Process(Run& run, const int* block, int pairs) {
  if (GetResetRequest() != 0) {
    Q5_LOG_INFO(acquisitionL,
                "%s.%d not processing block because of reset_sine_correlators_request\n",
                "RunProducer", __LINE__);
    run.shed = true;  // even if the request is withdrawn
    return;
  }
  if (run.shed) ResetSums(run);
  parts_.channels.expect_block(block, pairs);
  const PairFigures& figures = Correlate(block, pairs);
  statistics_times_.startInterval();
  parts_.channels.process_sample_buff(block, pairs);
  statistics_times_.endInterval();
  if (!ghmp->GetConsumerFlag() && ghmp->IsDCTest()) {
    const bool smooth = IsSmooth();
    filters_->slow->updateDC(figures, smooth);
    filters_->fast->updateDC(figures, smooth);
  }
  if (SineCorrelator::GetVLFFlag()) FollowSlowTest(figures);
  if (ghmp->SpecialVLFReset()) {
    filters_->slow->DoSpecialVLFReset();
    filters_->fast->DoSpecialVLFReset();
  }
}

const PairFigures& Producer::Correlate(const int* block, int pairs) {
  update_times_.startInterval();
  const auto [products, cycle] = filters_->slow->update(block, pairs);
  Publish(SineCorrelator::kSlow, *filters_->slow, cycle);
  for (int ch : {0, 1}) parts_.channels.Channel(ch).StoreBlockFigures(products.figures[ch]);
  Publish(SineCorrelator::kFast, *filters_->fast, filters_->fast->updateF(products));
  update_times_.endInterval();
  return products.figures;
}

/// A filter has a result only after the electrical results have it, because then the channels call
/// it valid.
void Producer::Publish(int filtertype, SineCorrelator& filter, const FinishedCycle* cycle) {
  if (cycle == nullptr) return;
  if (cycle->is_result) {
    const phasorarr_t& measured = cycle->phasors;
    phasortoo_t corrected[2] = {};
    for (int ch : {0, 1}) {
      corrected[ch].phase = measured.phase[ch];
      corrected[ch].mag = measured.mag[ch];
      corrected[ch].sample_count = measured.sample_count;
    }
    parts_.correct.Corr_phasors(corrected, corrected);
    parts_.results.StorePhasors(&filtertype, &measured, corrected);
    filter.Published();
  }
  if (cycle->unexpected > 0) ReportUnexpected(cycle->unexpected);
}

void Producer::ReportUnexpected(double magnitude) const {
  if (ghmp->VoltageTest() && ghmp->volttarget > 0) {
    const int ch = ghmp->swapchannels == 1 ? 1 : 0;
    Q5_LOG_WARNING(sinecorrelatorL, "Voltage unexpected %e AcqCh%d status %s BUSY\n", magnitude,
                   ch + 1, parts_.channels.Channel(ch).status_text());
  } else {
    Q5_LOG_WARNING(sinecorrelatorL, "Amperage unexpected %e \n", magnitude);
  }
}

bool Producer::IsSmooth() const {
  return ghmp->discharging == 0 && parts_.channels.Channel(0).get_status_flag() == 0 &&
         parts_.channels.Channel(1).get_status_flag() == 0;
}

/// A very slow cycle takes so long that the host polls averages and the peak meanwhile.
void Producer::FollowSlowTest(const PairFigures& figures) {
  std::array<double, 2> scales{};
  for (int ch : {0, 1}) {
    scales[ch] = parts_.channels.Channel(ch).get_range_info_in_use()->ScalingFactor;
  }
  filters_->average->update(figures, scales);
  filters_->fast->CalculateMaxVoltage(figures);
}

/// Both filters must begin at the same pair.
void Producer::ResetSums(Run& run) {
  run.shed = false;
  parts_.channels.reset_sine_correlators();
}

void Producer::ServeResetRequest(Run& run) {
  const int request = GetResetRequest();
  if (request == kNoReset) return;
  // a request that another thread makes in between counts
  if (request == kResetAfterABlock && ReplaceResetRequest(request, kResetNow)) return;
  if (filters_->slow->GetCycleCount() > kCyclesForHistograms) PrintHistograms();
  ResetSums(run);
}

void Producer::PrintHistograms() {
  update_times_.print();
  update_times_.reset();
  statistics_times_.print();
  statistics_times_.reset();
  for (int channel : {0, 1}) {
    Q5_LOG_DEBUG(acquisitionL, "%s.%d: AcqCh%d %s\n", "RunProducer", __LINE__, channel + 1,
                 parts_.channels.Channel(channel).status_text());
  }
}

void Producer::CheckOverflow() {
  if (!overflow_.Refresh() || overflow_.Hex() == 0) return;
  Q5_LOG_ERROR(acquisitionL,
               "OVERFLOW ERROR, Make sure one instance of acquisition program is running\n"
               "Or stop the acquisition by killing the mos on measurement processor \n"
               "overflow error was caused by some other programs like fpgatest, diag.bin "
               "before the mos or sos started\n");
  platform::Machine().System(kClearOverflow);
  const short code =
      ghmp->IsMeasModule() ? Msg::NAK_MCODE_MOS_ACQ_OVERFLOW : Msg::NAK_MCODE_SOS_ACQ_OVERFLOW;
  if (ghmp->IsErrorCodeNew(code)) ghmp->SetErrorCode(code);
}

void Producer::WakeConsumer() {
  if (!ghmp->GetConsumerFlag()) {
    Q5_LOG_DEBUG(acquisitionL, "%s.%d: Waking up the consumer thread\n", "RunProducer", __LINE__);
    return parts_.counts.WakeConsumer();
  }
  if (!ghmp->testStart) return;
  Q5_LOG_DEBUG(acquisitionL, "%s.%d: Skipping waking up the consumer thread, ConsumerFlag set\n",
               "RunProducer", __LINE__);
}

}  // namespace acquisition

#include "common/acquisition/ranging/block_scan.h"

#include <atomic>
#include <cstdint>

#include "common/acquisition/correlator_kernel.h"
#include "common/acquisition/sample_word.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"

namespace SignalCalculator {

using acquisition::kConditionMask;
using acquisition::kSequenceMask;
using acquisition::kSequenceShift;
using acquisition::kSyncError;

namespace {

constexpr int kReports = 5;  // of the same error, in one block and channel
constexpr unsigned kBusyReadEvery = 4;

std::atomic<unsigned> busy_blocks{0};

const char* NameOf(int channel) { return channel == ACQ_CH1 ? "AcqCh1" : "AcqCh2"; }

/// The part of channel 2's sequence field that a block of this size uses.
unsigned SecondSequenceMask(std::size_t pairs) {
  return static_cast<unsigned>((pairs - 1) >> kSequenceShift) & kSequenceMask;
}

class Scanner {
 public:
  Scanner(std::span<const int> block, bool dc_test)
      : block_(block), pairs_(static_cast<int>(block.size() / 2)), dc_test_(dc_test) {}

  BlockScan Run() {
    for (int i = 0; i < pairs_; ++i) {
      CheckFirst(i);
      CheckSecond(i);
      for (int channel : {ACQ_CH1, ACQ_CH2}) CheckCondition(channel, i);
    }
    return scan_;
  }

 private:
  unsigned Word(int channel, int i) const {
    return static_cast<unsigned>(
        block_[2 * static_cast<std::size_t>(i) + static_cast<std::size_t>(channel)]);
  }
  bool IsClean(int channel, int i) const { return (Word(channel, i) & kConditionMask) == 0; }
  bool IsLast(int i) const { return i == pairs_ - 1; }
  ChannelScan& Of(int channel) { return scan_.results.at(static_cast<std::size_t>(channel)); }

  void CheckFirst(int i) {
    const unsigned word = Word(ACQ_CH1, i);
    if (((word ^ static_cast<unsigned>(i)) & kSequenceMask) != 0) {
      ReportSequence(ACQ_CH1, i, Logger::A2DSTATUS_ERROR);
    }
    if ((word & kSyncError) != 0) ReportSync(i);
  }

  void CheckSecond(int i) {
    const unsigned expected = static_cast<unsigned>(i) >> kSequenceShift;
    const unsigned mask = SecondSequenceMask(static_cast<std::size_t>(pairs_));
    if (((Word(ACQ_CH2, i) ^ expected) & mask) != 0) {
      ReportSequence(ACQ_CH2, i, Logger::SAMPLE_COUNT_ERROR);
    }
  }

  void ReportSequence(int channel, int i, Logger::eventtypes_t event) {
    scan_.bad_sequence = true;
    int& allowed = seq_report_allowed_.at(static_cast<std::size_t>(channel));
    if (allowed == 0) return;
    --allowed;
    Q5_LOG_ERROR(
        acquisitionL, "CALC:%d Error! %s sample location 0x%04X sample_count field is 0x%02X.\n",
        __LINE__, NameOf(channel), static_cast<unsigned>(i), Word(channel, i) & kSequenceMask);
    Q5_LOG_ERROR(acquisitionL,
                 "CALC:%d This will only be reported once for this channel and capture "
                 "interval.\n",
                 __LINE__);
    Logger::Capture(event, channel + 1, i, Word(channel, i));
  }

  void ReportSync(int i) {
    scan_.bad_sequence = true;
    if (sync_report_allowed_ == 0) return;
    --sync_report_allowed_;
    const unsigned word = Word(ACQ_CH1, i);
    Q5_LOG_ERROR(acquisitionL, "%s %s.%d SYNC Error! sample location:0x%04X sample:0x%08X.\n",
                 NameOf(ACQ_CH1), __func__, __LINE__, static_cast<unsigned>(i), word);
    Logger::Capture(Logger::A2DSTATUS_ERROR, ACQ_CH1 + 1, i, word);
  }

  void CheckCondition(int channel, int i) {
    const unsigned condition = Word(channel, i) & kConditionMask;
    sample_block_status& status = Of(channel).status;
    const std::uint32_t before = status.Word();
    switch (condition) {
      case acquisition::A2D_STATUS_OVER_RANGE:
        ++Of(channel).over_range;
        status.overrange |= Detected(i);
        Clear(status.fault);
        Clear(status.cpld_busy);
        break;
      case acquisition::A2D_STATUS_FAULT:
        Fault(channel, i);
        Clear(status.overrange);
        Clear(status.cpld_busy);
        break;
      case acquisition::A2D_STATUS_CPLD_BUSY:
        Busy(channel, i);
        break;
      default:
        Clear(status.overrange);
        Clear(status.fault);
        Clear(status.cpld_busy);
    }
    if (status.Word() != before) LogChange(channel, i, condition, before);
  }

  std::uint8_t Detected(int i) const {
    return sample_block_status::kDetected | (IsLast(i) ? sample_block_status::kPersisted : 0);
  }
  static void Clear(std::uint8_t& condition) {
    if ((condition & sample_block_status::kDetected) != 0) {
      condition |= sample_block_status::kCleared;
    }
  }

  void Fault(int channel, int i) {
    ChannelScan& result = Of(channel);
    const bool first = (result.status.fault & sample_block_status::kDetected) == 0;
    result.status.fault |= Detected(i);
    if (IsLast(i)) {
      if (first) LogFault(channel, i, 1);
      result.read_cpld = true;
      result.reset_wanted = true;
    } else if (first) {
      JudgeRun(channel, i);
    }
  }

  // One or two bad samples are a glitch. More of them, or a run that is open at the end of the
  // block, have spoilt the correlators' sums.
  void JudgeRun(int channel, int i) {
    if (IsClean(channel, i + 1)) return LogFault(channel, i, 1);
    if (i + 2 < pairs_ && IsClean(channel, i + 2)) return LogFault(channel, i, 2);
    ChannelScan& result = Of(channel);
    result.read_cpld = true;
    if (!dc_test_) result.reset_wanted = true;
    Q5_LOG_ERROR(acquisitionL,
                 "CALC:%d %s called set_reset_sine_correlators_request(2) A2D_STATUS_FAULT "
                 "sampleNum:0x%04X\n",
                 __LINE__, NameOf(channel), static_cast<unsigned>(i));
  }

  void LogFault(int channel, int i, int samples) const {
    Q5_LOG_ERROR(acquisitionL,
                 "CALC:%d %s Condition A2D_STATUS_FAULT in %d sample(s). prev:0x%08X    "
                 "sampleNum:0x%04X\n",
                 __LINE__, NameOf(channel), samples, i == 0 ? 0 : Word(channel, i - 1),
                 static_cast<unsigned>(i));
  }

  void Busy(int channel, int i) {
    ChannelScan& result = Of(channel);
    if ((result.status.cpld_busy & sample_block_status::kDetected) == 0) {
      if (++busy_blocks % kBusyReadEvery == 1) result.read_cpld = true;
      Q5_LOG_INFO(acquisitionL, "%s CALC:%d A2D_STATUS_CPLD_BUSY\n", NameOf(channel), __LINE__);
    }
    result.status.cpld_busy |= Detected(i);
  }

  void LogChange(int channel, int i, unsigned condition, std::uint32_t before) {
    Q5_LOG_DEBUG(acquisitionL,
                 "%s CALC:%d offset:0x%04X sample:0x%08X case 0x%06X results "
                 "x%06X->x%06X(bytes:busy.fault.over "
                 "bits:detected(x04).cleared(x02).persisted(x01)\n",
                 NameOf(channel), __LINE__, static_cast<unsigned>(i), Word(channel, i), condition,
                 before, Of(channel).status.Word());
  }

  std::span<const int> block_;
  const int pairs_;
  const bool dc_test_;
  BlockScan scan_;
  std::array<int, ACQ_CHAN_COUNT> seq_report_allowed_{kReports, kReports};
  int sync_report_allowed_ = kReports;
};

}  // namespace

// Works in runs of the sequence field's period. Within a run the expected fields are a constant
// table, so the compiler makes vector code of the loop.
bool IsCleanBlock(std::span<const int> block) {
  constexpr unsigned kFirstMask = kConditionMask | kSyncError | kSequenceMask;
  constexpr std::size_t kRun = 2 * (std::size_t{kSequenceMask} + 1);
  const std::size_t pairs = block.size() / 2;
  std::array<unsigned, kRun> expected{};
  std::array<unsigned, kRun> mask{};
  for (std::size_t k = 0; k < kRun; k += 2) {
    expected[k] = static_cast<unsigned>(k / 2);
    mask[k] = kFirstMask;
    mask[k + 1] = kConditionMask | SecondSequenceMask(pairs);
  }
  unsigned bad = 0;
  std::size_t at = 0;
  for (; at + kRun <= 2 * pairs; at += kRun) {
    const auto second = static_cast<unsigned>(at / 2 >> kSequenceShift);
    for (std::size_t k = 1; second != expected[kRun - 1] && k < kRun; k += 2) expected[k] = second;
    const int* words = block.data() + at;
    for (std::size_t k = 0; k < kRun; ++k) {
      bad |= (static_cast<unsigned>(words[k]) ^ expected[k]) & mask[k];
    }
  }
  const auto second = static_cast<unsigned>(at / 2 >> kSequenceShift);
  for (std::size_t k = 0; at + k < 2 * pairs; ++k) {
    bad |= (static_cast<unsigned>(block[at + k]) ^ (k % 2 == 0 ? expected[k] : second)) & mask[k];
  }
  return bad == 0;
}

std::array<bool, ACQ_CHAN_COUNT> HasBadSample(std::span<const int> block) {
  std::array<bool, ACQ_CHAN_COUNT> found{};
  const int pairs = static_cast<int>(block.size() / 2);
  const auto& kernel = acquisition::BestCorrelatorKernel();
  if ((kernel.bits(block.data(), pairs) & kConditionMask) == 0) return found;
  for (std::size_t i = 0; i < block.size(); ++i) {
    const unsigned condition = static_cast<unsigned>(block[i]) & kConditionMask;
    const bool bad = condition == acquisition::A2D_STATUS_OVER_RANGE ||
                     condition == acquisition::A2D_STATUS_FAULT;
    if (bad) found.at(i % ACQ_CHAN_COUNT) = true;
  }
  return found;
}

BlockScan ScanBlock(std::span<const int> block, bool dc_test) {
  return Scanner(block, dc_test).Run();
}

}  // namespace SignalCalculator

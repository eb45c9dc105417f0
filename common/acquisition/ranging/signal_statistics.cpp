#include "common/acquisition/ranging/signal_statistics.h"

#include <cstdio>

#include "common/acquisition/sample_word.h"
#include "common/log/log_line.h"
#include "platform/output_file.h"

namespace SignalCalculator {

using AcquisitionSystem::AcqChan;
using Logger::kDebug;
using Logger::kError;
using Msg::ghmp;

namespace {

constexpr char kCaptureFile[] = "/var/volatile/datablock.txt";
constexpr int kOverRangePercent = 5;
constexpr auto kNotOverRange =
    static_cast<unsigned short>(~unsigned{AcquisitionSystem::Amplitude_exceeds_input_range});
/// A few samples over range in each cycle are too many as well when they continue for so long.
constexpr int kCyclesOfFew = 2;

/// One line of a capture.
struct rec_t {
  int ch1, ch2;             ///< samples
  unsigned int ch1o, ch2o;  ///< the words as they came
  short s1, s2;             ///< their status bits
};

/// A sample of 24 bits with its sign.
int CheckSign(unsigned sample) {
  constexpr unsigned kSign = 0x800000;
  return static_cast<int>(sample ^ kSign) - static_cast<int>(kSign);
}

rec_t SetChannelData(const int* pair) {
  constexpr unsigned kLowByte = 0xFF;
  const auto first = static_cast<unsigned>(pair[0]);
  const auto second = static_cast<unsigned>(pair[1]);
  return {.ch1 = CheckSign(first >> acquisition::kSampleShift),
          .ch2 = CheckSign(second >> acquisition::kSampleShift),
          .ch1o = first,
          .ch2o = second,
          .s1 = static_cast<short>(first & kLowByte),
          .s2 = static_cast<short>(second & kLowByte)};
}

}  // namespace

SignalStatistics::SignalStatistics(AcqChan& first, AcqChan& second)
    : DObj("SignalStats"), channels_{&first, &second} {}

int SignalStatistics::process_sample_buff(const int* block, int nr_sample_pairs) {
  if (nr_sample_pairs < 1 || nr_sample_pairs > kMostPairs) {
    Q5_LOG_ERROR(acquisitionL, "CALC:%d Request for unsupported number of sample pairs %d\n",
                 __LINE__, nr_sample_pairs);
    return -1;
  }
  const std::span words(block, 2 * static_cast<std::size_t>(nr_sample_pairs));
  BlockScan scan;
  if (!IsCleanBlock(words)) scan = ScanBlock(words, ghmp->IsDCTest());
  for (std::size_t ch = 0; ch < channels_.size(); ++ch) {
    Judge(*channels_.at(ch), scan.results.at(ch), scan.bad_sequence, nr_sample_pairs);
  }
  return scan.bad_sequence ? -1 : 0;
}

void SignalStatistics::expect_block(const int* block, int nr_sample_pairs) {
  if (nr_sample_pairs < 1) return;
  const std::span words(block, 2 * static_cast<std::size_t>(nr_sample_pairs));
  const auto bad = HasBadSample(words);
  for (std::size_t ch = 0; ch < channels_.size(); ++ch) {
    if (bad.at(ch)) channels_.at(ch)->Guard().Spoil(AcquisitionSystem::Ranging);
  }
}

// A host has to see at once that a range is too small for the signal, even when the signal is so
// slow that most blocks of a cycle fit.
void SignalStatistics::JudgeOverRange(AcqChan& channel, int over_range, int pairs) {
  const int blocks = channel.Guard().TakeBad();
  // one error for each time that it begins
  Q5_LOG_AT(blocks == 1 ? kError : kDebug, acquisitionL,
            "%s %s.%d: %4d overrange samples out of %d\n", channel.name(), __func__, __LINE__,
            over_range, pairs);
  // again, because a slow cycle that is still open may have been accepted meanwhile
  channel.Guard().Spoil(AcquisitionSystem::Ranging);
  if (channel.get_sample_discard_count() != 0) return;
  const bool too_large = over_range > pairs * kOverRangePercent / 100;
  if (too_large) {
    channel.full_cycle_reset_statistics();
    channel.set_CPLD_status_request();
  }
  const bool goes_on = blocks > kCyclesOfFew * (channel.get_sample_sets_per_cycle() + 1);
  if (too_large || goes_on) {
    channel.Guard().Spoil(AcquisitionSystem::Amplitude_exceeds_input_range);
  }
}

// While the consumer flag is up no result is kept, so none becomes valid.
void SignalStatistics::JudgeGood(AcqChan& channel, int pairs) {
  channel.set_status_flag(kNotOverRange, 0);
  auto& guard = channel.Guard();
  if (!guard.IsSpoilt()) return;
  if (ghmp->GetConsumerFlag()) return guard.Restart();
  if (guard.TakeGood(pairs, channel.get_sample_sets_per_cycle(), AcqChan::get_sums())) {
    AcqChan::set_reset_sine_correlators_request(acquisition::kResetNow);
  }
}

// The CPLD is read where the block's event is handled: the producer does not wait for a bus.
void SignalStatistics::Judge(AcqChan& channel, const ChannelScan& scan, bool bad_sequence,
                             int pairs) {
  if (scan.over_range != 0) {
    JudgeOverRange(channel, scan.over_range, pairs);
  } else if (scan.status.fault != 0 || bad_sequence) {
    channel.Guard().TakeBad();
    channel.Guard().Spoil(AcquisitionSystem::Ranging);
  } else {
    JudgeGood(channel, pairs);
  }
  channel.set_sample_status(scan.status);
  channel.full_cycle_update_statistics(scan.status.cpld_busy == 0 ? 1 : 0);
  if (scan.read_cpld || scan.status.fault != 0) channel.set_CPLD_status_request();
  if (scan.reset_wanted) AcqChan::set_reset_sine_correlators_request(acquisition::kResetNow);
}

int SignalStatistics::CaptureToFile(const int* block) const {
  if (block == nullptr) {
    Q5_LOG_ERROR(acquisitionL, "%s::%s.%d parameter blockptr must not be NULL\n", name(), __func__,
                 __LINE__);
    return -1;
  }
  const platform::Stream file = platform::OpenStream(kCaptureFile, "we");
  if (file == nullptr) {
    Q5_LOG_ERROR(acquisitionL, "%s::%s.%d Cannot creat file %s\n", name(), __func__, __LINE__,
                 kCaptureFile);
    return -1;
  }
  std::fputs("   CH1DEC       CH2DEC       CH1HEX     CH2HEX\n", file.get());
  for (std::size_t i = 0; i < acquisition::kPagePairs; ++i) {
    const rec_t record = SetChannelData(block + 2 * i);
    std::fprintf(file.get(), "%12d %12d 0x%08x 0x%08x \n", record.ch1, record.ch2, record.ch1o,
                 record.ch2o);
  }
  Q5_LOG_INFO(acquisitionL, "%s::%s.%d Captured sample block to %s\n", name(), __func__, __LINE__,
              kCaptureFile);
  return 0;
}

}  // namespace SignalCalculator

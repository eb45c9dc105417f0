#include "common/acquisition/sample_status.h"

#include <array>

#include "common/acquisition/correlator_kernel.h"
#include "common/acquisition/sample_word.h"
#include "common/log/log_line.h"

namespace acquisition {
namespace {

/// A condition of one channel. The history holds two samples, the present one in the upper nibble:
/// its status bits exclusive-or those of the condition, so 0 is the condition itself.
class Condition {
 public:
  Condition(const char* name, unsigned bits)
      : name_(name), bits_(bits), began_(bits >> 4), ended_(bits), history_(bits | bits >> 4) {}

  void Take(int word, int channel, int index) {
    history_ = (Status(word) ^ bits_) | history_ >> 4;
    if (history_ == began_) {
      ++count_;
    } else if (history_ == 0) {
      ++count_;
      Continue(channel, index);
    } else if (history_ == ended_) {
      End(channel, index);
    }
  }
  int count() const { return count_; }
  int consecutive() const { return consecutive_; }
  const char* name() const { return name_; }

 private:
  // The second sample of a run counts the first one, too.
  void Continue(int channel, int index) {
    ++consecutive_;
    if (in_run_) return;
    in_run_ = true;
    ++consecutive_;
    second_ = index;
    Q5_LOG_INFO(acquisitionL, "AcqCh%d %s.%d %s second consecutive sample index=%d\n", channel + 1,
                __func__, __LINE__, name_, index);
  }

  void End(int channel, int index) {
    if (in_run_) {
      Q5_LOG_INFO(acquisitionL, "AcqCh%d %s.%d end of %s index=%d  consecutive=%d\n", channel + 1,
                  __func__, __LINE__, name_, index, index - second_ + 1);
    } else {
      Q5_LOG_INFO(acquisitionL, "AcqCh%d %s.%d %s isolated glitch index=%d\n", channel + 1,
                  __func__, __LINE__, name_, index);
    }
    in_run_ = false;
  }

  const char* name_;
  unsigned bits_;
  unsigned began_;
  unsigned ended_;
  unsigned history_;
  bool in_run_ = false;
  int second_ = 0;
  int count_ = 0;
  int consecutive_ = 0;
};

struct ChannelStatus {
  Condition fault{"A2D_STATUS_FAULT", A2D_STATUS_FAULT};
  Condition over_range{"A2D_STATUS_OVER_RANGE", A2D_STATUS_OVER_RANGE};
};

void LogCount(const Condition& condition, int channel) {
  if (condition.count() == 0) return;
  Q5_LOG_INFO(acquisitionL, "AcqCh%d %s.%d %s count=%d\n", channel + 1, __func__, __LINE__,
              condition.name(), condition.count());
}

/// The CPLD is read where the channel's block event is handled: the producer does not wait for a
/// bus.
int Report(const ChannelStatus& status, int channel, SampleChannels& channels) {
  int result = 0;
  if (status.over_range.consecutive() > 0) {
    result |= kStatusOverRange;
    Q5_LOG_WARNING(acquisitionL, "AcqCh%d %s.%d NAK_MCODE_CPLD_OVERINPUT non-glitch count = %d\n",
                   channel + 1, __func__, __LINE__, status.over_range.consecutive());
  }
  if (status.fault.consecutive() > 0) {
    result |= kStatusFault;
    Q5_LOG_WARNING(acquisitionL,
                   "AcqCh%d %s.%d NAK_MCODE_FAULT_IN_SAMPLES consecutive count = %d\n", channel + 1,
                   __func__, __LINE__, status.fault.consecutive());
  }
  if (result != 0) channels.Channel(channel).set_CPLD_status_request();
  LogCount(status.over_range, channel);
  LogCount(status.fault, channel);
  return result;
}

}  // namespace

int CheckFaultAndOverRangeStatusBits(const int* words, int pairs, SampleChannels& channels) {
  if ((BestCorrelatorKernel().bits(words, pairs) & kConditionMask) == 0) return 0;
  std::array<ChannelStatus, 2> status;
  for (int i = 0; i < pairs; ++i) {
    for (int ch = 0; ch < 2; ++ch) {
      const int word = words[2 * i + ch];
      status[ch].fault.Take(word, ch, i);
      status[ch].over_range.Take(word, ch, i);
    }
  }
  return Report(status[0], 0, channels) | Report(status[1], 1, channels);
}

}  // namespace acquisition

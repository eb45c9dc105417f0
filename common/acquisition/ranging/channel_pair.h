// Both channels, as acquisition sees them.
#pragma once

#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/acquisition/ranging/signal_statistics.h"

namespace AcquisitionSystem {

class ChannelPair : public acquisition::SampleChannels {
 public:
  /// The pair of the process's own channels, which are made on the first call. Null without front
  /// ends.
  static ChannelPair* Instance();

  /// Registers both channels (AcqChan's registry); they outlive the pair.
  ChannelPair(AcqChFollowing& first, AcqChFollowing& second);

  AcqChan& Channel(int channel) override {
    return *channels_.at(static_cast<std::size_t>(channel));
  }
  void set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) override;
  void reset_sine_correlators() override;
  void expect_block(const int* block, int pairs) override;
  void stream_stands_still() override;
  void stream_began_again() override;
  int process_sample_buff(const int* block, int pairs) override;
  int notify_samples_received() override;

 private:
  std::array<AcqChFollowing*, ACQ_CHAN_COUNT> channels_;
  SignalCalculator::SignalStatistics statistics_;
};

}  // namespace AcquisitionSystem

#include "common/acquisition/ranging/channel_pair.h"

namespace AcquisitionSystem {

ChannelPair* ChannelPair::Instance() {
  AcqChFollowing1* first = AcqChFollowing1::Instance();
  AcqChFollowing2* second = AcqChFollowing2::Instance();
  if (first == nullptr || second == nullptr) return nullptr;
  static auto* const instance = new ChannelPair(*first, *second);
  return instance;
}

ChannelPair::ChannelPair(AcqChFollowing& first, AcqChFollowing& second)
    : channels_{&first, &second}, statistics_(first, second) {
  AcqChan::set_AcqCh_instance(ACQ_CH1, &first);
  AcqChan::set_AcqCh_instance(ACQ_CH2, &second);
}

void ChannelPair::set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) {
  AcqChan::set_SineCorrelators(fast, slow);
}

void ChannelPair::reset_sine_correlators() { AcqChan::reset_sine_correlators(); }

void ChannelPair::expect_block(const int* block, int pairs) {
  statistics_.expect_block(block, pairs);
}

void ChannelPair::stream_stands_still() {
  for (AcqChFollowing* channel : channels_) channel->Guard().Spoil(Data_Not_Valid);
}

void ChannelPair::stream_began_again() {
  for (AcqChFollowing* channel : channels_) channel->Guard().SpoilTest(Data_Not_Valid);
}

int ChannelPair::process_sample_buff(const int* block, int pairs) {
  return statistics_.process_sample_buff(block, pairs);
}

int ChannelPair::notify_samples_received() {
  return AcqChFollowing::notify_both_channels(ACQ_EVT_SAMPLES_RECEIVED);
}

}  // namespace AcquisitionSystem

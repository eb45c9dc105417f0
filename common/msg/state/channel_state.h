// The state of the two measurement channels: their identity, and the range, filter and sign of
// their results.
//
// Owner: the code that sets a channel up: the start-up thread, request handlers, and the channel
// itself, which reports its range. Locks: none; any thread reads and writes single fields. Channels
// are numbered from 0; an unknown channel reads as 0 and is not written.
#pragma once

#include <array>
#include <atomic>

namespace Msg {

class ChannelState {
 public:
  void SetRangingInfo(int channel, float fullscale);
  float GetRangingInfo(int channel) const;
  void SetFilter(int channel, short filter);
  short GetFilter(int channel) const;
  void SetPolarity(int channel, int polarity);
  void SetCPLDRevInfo(int channel, short id, short rev);
  short GetCPLDID(int channel) const;
  void ResetMaxSampleRepetitions();
  void IncrMaxSampleRepetitions(int channel);
  int GetMaxSampleRepetitions(int channel) const;

  std::atomic<float> ch1fullscale{0};
  std::atomic<float> ch2fullscale{0};
  std::atomic<short> ch1filter{0};
  std::atomic<short> ch2filter{0};
  std::array<std::atomic<int>, 2> chpolarity{1, 1};
  std::atomic<short> ch1cpldid{0};
  std::atomic<short> ch1cpldrev{0};
  std::atomic<short> ch2cpldid{0};
  std::atomic<short> ch2cpldrev{0};
  std::array<std::atomic<int>, 2> max_sample_repetitions{};
};

}  // namespace Msg

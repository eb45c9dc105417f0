// The anti-alias filters of both channels, with the corrections that go with each.
#pragma once

#include "common/signalh/signal_common.h"

namespace Mos {

class ChannelFilters {
 public:
  /// `channels` outlives the object.
  explicit ChannelFilters(SignalCommon& channels) : channels_(channels) {}

  /// Sets both channels' filters for a signal of `frequency` hertz, by the kind of the test. The
  /// lower of the two results of SetMeasChCfgReg; 0 for a kind of test without a choice. The last
  /// argument has no effect.
  int SelectFilter(float frequency, bool exec_sequence1);
  /// Takes the filter's row of the calibration into the channel's corrections.
  static void CorrectForFilter(int channel, int filter);

 private:
  SignalCommon& channels_;
};

}  // namespace Mos

// Inversion of the input channels: the FPGA negates the samples of a channel whose sensor is wired
// the other way round.
//
// Channels are 0 and 1. Results are 0, or -1 also for any other channel. Threads: any.
#pragma once

#include <array>
#include <atomic>

#include "common/dev/fpga/fpga_dev_base.h"

namespace Dev {

class FpgaInvertChannel : public virtual FpgaDevBase {
 public:
  FpgaInvertChannel() : FpgaDevBase(-1) {}

  int InvertChannel(int channel);
  int UndoInvertChannel(int channel);
  /// 1, 0 or -1.
  int IsChannelInverted(int channel);
  int InvertCurrentChannel(int channel);
  /// Removes the inversion of both channels.
  int CorrectCurrentChannel();
  int FlipAllChannels();

  /// Notes the sign of a channel, +1 or -1, here and in the shared state; does not change the
  /// hardware.
  int SetPolarity(int channel, int polarity);
  /// 0 for an unknown channel.
  int GetPolarity(int channel) const;

 protected:
  std::array<std::atomic<int>, 2> _polarity{1, 1};

 private:
  int ChangeInversion(int channel, bool inverted);
};

}  // namespace Dev

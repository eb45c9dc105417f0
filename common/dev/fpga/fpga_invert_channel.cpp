#include "common/dev/fpga/fpga_invert_channel.h"

#include "common/log/capture.h"
#include "common/log/log_line.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr bool IsChannel(int channel) { return channel == 0 || channel == 1; }
constexpr unsigned BitOf(int channel) { return 1u << channel; }

}  // namespace

int FpgaInvertChannel::ChangeInversion(int channel, bool inverted) {
  if (!IsChannel(channel)) return -1;
  unsigned value = 0;
  if (ReadReg(Q5FPGA_A2D_CTRL, value) < 0) return -1;
  const unsigned bit = BitOf(channel);
  const bool changes = ((value & bit) != 0) != inverted;
  // written whatever the reading was, because a reading can be wrong
  if (ChangeReg(Q5FPGA_A2D_CTRL, bit, inverted ? bit : 0, __LINE__) < 0) return -1;
  if (changes) {
    if (ReadReg(Q5FPGA_A2D_CTRL, value) < 0) return -1;
    if (inverted) {
      Q5_LOG_INFO(fpgaL, "invert signal 0x%x \n", value);
    } else {
      Q5_LOG_INFO(fpgaL, "Current channel 0x%x \n", value);
    }
  }
  Capture(inverted ? Logger::INVERT_CHANNEL : Logger::CLEAR_INVERT_CHANNEL, value, channel + 1);
  return 0;
}

int FpgaInvertChannel::InvertChannel(int channel) { return ChangeInversion(channel, true); }
int FpgaInvertChannel::InvertCurrentChannel(int channel) { return ChangeInversion(channel, true); }
int FpgaInvertChannel::UndoInvertChannel(int channel) { return ChangeInversion(channel, false); }

int FpgaInvertChannel::IsChannelInverted(int channel) {
  unsigned value = 0;
  if (!IsChannel(channel) || ReadReg(Q5FPGA_A2D_CTRL, value) < 0) return -1;
  return (value & BitOf(channel)) != 0 ? 1 : 0;
}

int FpgaInvertChannel::CorrectCurrentChannel() {
  unsigned value = 0;
  if (ChangeReg(Q5FPGA_A2D_CTRL, kInvertBoth, 0, __LINE__, value) < 0) return -1;
  Capture(Logger::CLEAR_INVERT_CHANNEL, value);
  return 0;
}

int FpgaInvertChannel::FlipAllChannels() {
  unsigned value = 0;
  if (ChangeReg(Q5FPGA_A2D_CTRL, 0, kInvertBoth, __LINE__, value) < 0) return -1;
  Q5_LOG_INFO(fpgaL, "Flip all 0x%x \n", value);
  Capture(Logger::FLIP_ALL_CHANNELS, value);
  return 0;
}

int FpgaInvertChannel::SetPolarity(int channel, int polarity) {
  if (!IsChannel(channel)) return -1;
  _polarity[static_cast<std::size_t>(channel)] = polarity;
  Shared().channels.SetPolarity(channel, polarity);
  Capture(Logger::CHANNELPOLARITY, channel + 1, polarity);
  return 0;
}

int FpgaInvertChannel::GetPolarity(int channel) const {
  return IsChannel(channel) ? _polarity[static_cast<std::size_t>(channel)].load() : 0;
}

}  // namespace Dev

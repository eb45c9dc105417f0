// Chips that sit on each channel board have their error words by module and channel.
#pragma once

#include "common/dev/i2c/bus/chip_path.h"
#include "common/dev/i2c/bus/device_ids.h"
#include "common/msg/records/module_id.h"

namespace Dev {

/// Measurement channel 1 and 2, then source channel 1 and 2.
inline constexpr int kChannelBoards = 4;

/// The place of a device in a table of the four, or -1 off the channel boards.
constexpr int ChannelBoard(const I2cDevInfo& info) {
  if (info._mid != Msg::MEAS_MODULE && info._mid != Msg::SOURCE_MODULE) return -1;
  if (info._aid != MEAS_CH1 && info._aid != MEAS_CH2) return -1;
  return (info._mid == Msg::SOURCE_MODULE ? 2 : 0) + (info._aid == MEAS_CH2 ? 1 : 0);
}

}  // namespace Dev

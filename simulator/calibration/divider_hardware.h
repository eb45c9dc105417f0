// The high-voltage dividers of the main module's reference board, as in its calibration file.
#pragma once

#include <array>
#include <complex>
#include <string>
#include <string_view>

#include "simulator/calibration/channel_hardware.h"

namespace simulator {

struct DividerHardware {
  double ratio = 1;           ///< volts at the terminal per volt at the channel's input
  Cubic gain = {1, 0, 0, 0};  ///< factor that makes up for the droop
  Cubic lag{};                ///< radians

  /// Volts at the channel's input per volt at the terminal.
  std::complex<double> Response(double hertz) const;
};

inline constexpr std::size_t kDividers = 2;
using Dividers = std::array<DividerHardware, kDividers>;

/// Empty when `xml`, as "11m_mainref_f.xml", was taken, else what is wrong with it.
std::string ReadDividers(std::string_view xml, Dividers& dividers);
/// Those of the shipped file.
const Dividers& ShippedDividers();

}  // namespace simulator

// What one channel's front end makes of the signals at its input, in counts.
#pragma once

#include <complex>
#include <cstdint>

#include "simulator/meas_channel_board.h"

namespace simulator {

/// What a channel measures at the device under test.
enum class Quantity : std::uint8_t { kNothing, kVoltage, kCurrent };

/// The front end of one board at one moment; frequencies in hertz, levels in counts of the ADC.
class FrontEndResponse {
 public:
  /// A channel without a board.
  FrontEndResponse() = default;
  /// `hardware` outlives it.
  FrontEndResponse(const FrontEnd& settings, const ChannelHardware& hardware);

  Quantity Sees() const { return sees_; }
  /// Counts of the peak per unit, with the phase of the samples against the input.
  std::complex<double> At(double hertz) const;
  /// Counts without a signal: the front end's offset less the DAC's share, or in a DC test mode
  /// what the CPLD routes to the ADC.
  double Offset() const { return offset_; }
  /// Of the low-pass, in seconds; 0 without one.
  double TimeConstant() const { return time_constant_; }
  /// By how much the noise of the input stands out over the ADC's: 1 at the least sensitive.
  double NoiseFactor() const { return noise_factor_; }

 private:
  const ChannelHardware* hardware_ = nullptr;
  FrontEnd settings_;
  Quantity sees_ = Quantity::kNothing;
  double offset_ = 0;
  double time_constant_ = 0;
  double noise_factor_ = 1;
};

}  // namespace simulator

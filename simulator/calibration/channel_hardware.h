// What the hardware of a measurement channel board truly does: the one truth from which both its
// samples and its calibration record follow.
#pragma once

#include <array>
#include <complex>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// Values are those of the CPLD's configuration register.
enum class InputMode : std::size_t { kOff, kAcdcCurrent, kAcVolt, kDcVolt, kDcir };
inline constexpr std::size_t kInputModes = 5;

/// a + b f + c f^2 + d f^3, f in hertz.
using Cubic = std::array<double, 4>;
double Evaluate(const Cubic& cubic, double f);

/// Counts of the ADC at the full scale of a range.
inline constexpr double kFullScaleCounts = 8388608.0;

struct RangeHardware {
  std::uint8_t code = 0;
  double full_scale = 0;  ///< nominal, in amperes, volts or ohms
  double gain_error = 0;
  double offset = 0;         ///< counts without a signal, DAC 0 centred
  double dac_per_count = 0;  ///< DAC 0 counts that shift the samples down by one count
  Cubic gain{};              ///< factor that makes up for the droop
  Cubic lag{};               ///< radians

  /// Value of one count at low frequency.
  double Scale() const { return full_scale * (1 + gain_error) / kFullScaleCounts; }
};

struct FilterHardware {
  double gain = 1;       ///< factor that makes up for the loss at low frequency
  double corner_hz = 0;  ///< 0: no low-pass
};

struct DcTestMode {
  int mode = 0;
  std::size_t dac = 0;
  double dac_per_count = 0;
  double offset = 0;
};

/// The fields of a board's EEPROM that are texts, by their names.
using BoardFields = std::map<std::string, std::string, std::less<>>;

struct ChannelHardware {
  static constexpr std::size_t kFilters = 15;

  BoardFields fields;
  std::array<std::vector<RangeHardware>, kInputModes> ranges;  ///< by InputMode
  std::vector<FilterHardware> filters;                         ///< by filter number
  std::vector<DcTestMode> test_modes;

  /// What the front end does at this range code: that of the table, or of the table's nearest code
  /// with the same front end, each step of 4 being a gain of 10. Nothing for a front end that the
  /// mode does not have.
  std::optional<RangeHardware> Range(InputMode mode, std::uint8_t code) const;
  /// Counts (of the peak) per unit of the input at frequency `f`, with the phase that the samples
  /// have against the input. Zero when the front end does not pass the input on.
  std::complex<double> Response(InputMode mode, std::uint8_t code, int filter, double f) const;
};

/// Empty when `text` was taken, else what is wrong with it, in one line. JSON with comments, as
/// simulator/calibration/meas1.json.
std::string ParseChannelHardware(std::string_view text, ChannelHardware& hardware);
/// The "fields" alone, for a board that measures nothing.
std::string ParseBoardFields(std::string_view text, BoardFields& fields);

}  // namespace simulator

#include "simulator/i2c/ad7998.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "simulator/parse.h"

namespace simulator {
namespace {

/// How a channel's input hangs on what it monitors: a divider from the rail, for the negative rails
/// against the +5 V rail, into a full scale of 4096 codes.
struct RailInfo {
  const char* name;
  double nominal;
  double full_scale;
  double offset;     ///< added to the rail
  double plus_five;  ///< share of the +5 V rail that is added
};

constexpr std::size_t kPlusFive = 2;
constexpr std::size_t kReferenceTemperature = 5;
constexpr std::size_t kOffsetDac = 7;
constexpr double kCodes = 4096;
constexpr double kCodesPerDegree = 3.6;
constexpr double kCodeAtZeroDegrees = 695;

constexpr RailInfo kRails[Ad7998::kChannels] = {
    {"+12V", 12.03, 15, 0, 0},
    {"-12V", -11.96, 12, 0, 3},
    {"+5V", 5.02, 6, 0, 0},
    {"-5V", -4.97, 9, 0, 2},
    {"+3V", 3.01, 4.5, 0, 0},
    {"Ref Temp", 35, kCodes / kCodesPerDegree, kCodeAtZeroDegrees / kCodesPerDegree, 0},
    {"+3.3V", 3.31, 4.5, 0, 0},
    {"Offset DAC", 0, 3, 0, 0},
};

/// The offset DAC's output at its highest code.
constexpr double kDacReference = 2.5;
constexpr double kDacCodes = 65536;

constexpr double kLargestRail = 1000;

enum Pointer : std::uint8_t { kResult = 0, kAlertStatus = 1, kConfiguration = 2, kCycleTimer = 3 };
constexpr std::uint8_t kPointerMask = 0x0F;
constexpr std::uint8_t kCommand = 0x80;
constexpr std::uint8_t kCycleMask = 0x07;
constexpr std::uint16_t kConfigurationReset = 0x0008;
constexpr std::uint16_t kTwelveBits = 0x0FFF;
constexpr unsigned kSequenceShift = 4;  // of the channels' bits in the configuration register

}  // namespace

Ad7998::Ad7998(std::string name, const Surroundings& around, const MeasChannelBoard& board)
    : I2cChip(std::move(name), around), board_(board), configuration_(kConfigurationReset) {
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    rails_[channel] = kRails[channel].nominal;
    if (channel == kOffsetDac) continue;
    AddValue(
        around.units, "rail" + std::to_string(channel),
        [this, channel] { return std::to_string(rails_[channel]); },
        [this, channel](std::string_view text) {
          const auto value = ParseReal(text, -kLargestRail, kLargestRail);
          if (value) rails_[channel] = *value;
          return value.has_value();
        });
  }
}

double Ad7998::Rail(std::size_t channel) const {
  if (channel == kOffsetDac) return board_.Dac(0) * kDacReference / kDacCodes;
  return rails_[channel];
}

std::uint16_t Ad7998::Code(std::size_t channel) const {
  const RailInfo& info = kRails[channel];
  const double input = Rail(channel) + info.offset + info.plus_five * rails_[kPlusFive];
  const double code = std::round(input / info.full_scale * kCodes);
  return static_cast<std::uint16_t>(std::clamp(code, 0.0, kCodes - 1));
}

/// A command converts its channel; while the cycle timer runs, it is the turn of the channels that
/// the configuration register names.
std::uint16_t Ad7998::Convert() {
  const unsigned sequence = configuration_ >> kSequenceShift;
  if (cycle_timer_ != 0 && sequence != 0) {
    do {
      channel_ = (channel_ + 1) % kChannels;
    } while ((sequence >> channel_ & 1U) == 0);
  }
  return static_cast<std::uint16_t>(channel_ << 12 | Code(channel_));
}

std::uint16_t Ad7998::RegisterValue(std::uint8_t pointer) {
  switch (pointer) {
    case kResult:
      return Convert();
    case kConfiguration:
      return configuration_;
    case kCycleTimer:
      return static_cast<std::uint16_t>(cycle_timer_ << 8);
    default:
      return 0;
  }
}

int Ad7998::Take(std::span<const std::uint8_t> data) {
  while (!data.empty()) {
    const std::uint8_t address = data[0];
    pointer_ = address & kPointerMask;
    if ((address & kCommand) != 0) channel_ = address >> 4 & 7U;
    data = data.subspan(1);
    if (pointer_ == kConfiguration && data.size() >= 2) {
      configuration_ = static_cast<std::uint16_t>((data[0] << 8 | data[1]) & kTwelveBits);
      data = data.subspan(2);
    } else if (pointer_ == kCycleTimer && !data.empty()) {
      cycle_timer_ = data[0] & kCycleMask;
      data = data.subspan(1);
    } else {
      return 0;  // the alert limits are not modelled
    }
  }
  return 0;
}

int Ad7998::Give(std::span<std::uint8_t> data) {
  std::uint16_t word = 0;
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i % 2 == 0) word = RegisterValue(pointer_);
    data[i] = static_cast<std::uint8_t>(i % 2 == 0 ? word >> 8 : word);
  }
  return 0;
}

std::string Ad7998::Describe() const {
  std::string text;
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    char rail[48];
    std::snprintf(rail, sizeof rail, "%s%s %.3f %s", text.empty() ? "" : ", ", kRails[channel].name,
                  Rail(channel), channel == kReferenceTemperature ? "degC" : "V");
    text += rail;
  }
  return text;
}

}  // namespace simulator

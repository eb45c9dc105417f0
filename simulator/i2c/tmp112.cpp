#include "simulator/i2c/tmp112.h"

#include <utility>

namespace simulator {
namespace {

constexpr RegisterInfo kRegisters[] = {
    {0, "TEMPERATURE", 0},
    {1, "CONFIGURATION", 0x1FD0, 0x60A0},
    {2, "T_LOW", 0xFFF8, 0x4B00},
    {3, "T_HIGH", 0xFFF8, 0x5000},
};

// Of the configuration register.
constexpr unsigned kOneShot = 0x8000;
constexpr unsigned kQueueShift = 11;
constexpr unsigned kActiveHigh = 0x0400;  // the polarity of the alert
constexpr unsigned kShutdown = 0x0100;
constexpr unsigned kRateShift = 6;
constexpr unsigned kAlert = 0x0020;
constexpr unsigned kExtended = 0x0010;

constexpr int kFaultQueue[] = {1, 2, 4, 6};
constexpr std::chrono::milliseconds kPeriods[] = {
    std::chrono::milliseconds(4000), std::chrono::milliseconds(1000),
    std::chrono::milliseconds(250), std::chrono::milliseconds(125)};
constexpr std::chrono::milliseconds kConversion(26);

/// Bit 0 of the temperature is the format; the lowest bit of a limit exists only in the longer.
constexpr std::uint16_t kFormatBit = 1;
constexpr std::uint16_t kThirteenthBit = 8;

}  // namespace

Tmp112::Tmp112(std::string name, const Surroundings& around)
    : TemperatureSensor(std::move(name), around, kRegisters) {}

bool Tmp112::Has(unsigned configuration_bit) const {
  return (*registers_.Read(kConfiguration) & configuration_bit) != 0;
}

int Tmp112::CountsPerDegree() const { return Has(kExtended) ? 128 : 256; }
int Tmp112::Bits() const { return Has(kExtended) ? 13 : 12; }

double Tmp112::Limit(std::uint8_t pointer) const {
  return static_cast<double>(static_cast<std::int16_t>(*registers_.Read(pointer))) /
         CountsPerDegree();
}

int Tmp112::Take(std::span<const std::uint8_t> data) {
  Follow();
  const int result = RegisterChip::Take(data);
  const bool configures = data.size() > 1 && (data[0] & 3) == kConfiguration;
  if (configures && (data[1] << 8 & kOneShot) != 0 && Has(kShutdown)) {
    one_shot_ends_ = Clock().Monotonic() + kConversion;
    one_shot_done_ = false;
  }
  if (!Has(kExtended)) {
    for (const auto limit : {kLow, kHigh}) registers_.Drive(limit, 0, kThirteenthBit);
  }
  Follow();
  return result;
}

void Tmp112::Follow() {
  if (!Has(kShutdown)) {
    one_shot_ends_.reset();
    one_shot_done_ = false;
    measured_ = temperature_;
  } else if (one_shot_ends_ && Clock().Monotonic() >= *one_shot_ends_) {
    one_shot_ends_.reset();
    one_shot_done_ = true;
    measured_ = temperature_;
  }
  FollowAlert();
}

/// The alert changes after as many conversions in a row as the fault queue is long.
void Tmp112::FollowAlert() {
  const bool fault = beyond_ ? measured_ < Limit(kLow) : measured_ >= Limit(kHigh);
  if (!fault) {
    faults_since_.reset();
    return;
  }
  const unsigned configuration = *registers_.Read(kConfiguration);
  const platform::Nanoseconds now = Clock().Monotonic();
  if (!faults_since_) faults_since_ = now;
  const auto conversions = 1 + (now - *faults_since_) / kPeriods[configuration >> kRateShift & 3];
  if (conversions < kFaultQueue[configuration >> kQueueShift & 3]) return;
  beyond_ = !beyond_;
  faults_since_.reset();
}

void Tmp112::Refresh(std::uint8_t pointer) {
  Follow();
  TemperatureSensor::Refresh(pointer);
  if (pointer == kTemperature && Has(kExtended)) registers_.Drive(pointer, kFormatBit, kFormatBit);
  if (pointer == kConfiguration) {
    const bool alert_bit = beyond_ == Has(kActiveHigh);
    registers_.Drive(pointer, alert_bit ? kAlert : 0, kAlert);
    registers_.Drive(pointer, one_shot_done_ ? kOneShot : 0, kOneShot);
  }
}

}  // namespace simulator

#include "simulator/i2c/si5338.h"

#include <algorithm>

#include "simulator/parse.h"

namespace simulator {
namespace {

using namespace si5338;

constexpr std::uint64_t kReferenceHertz = 25000000;
constexpr std::uint64_t kHighestReference = 710000000;
constexpr std::uint64_t kMostFailures = 1000000;

enum Alarm : std::uint8_t { kSysCal = 0x01, kLosClkin = 0x04, kPllLol = 0x10 };
constexpr std::uint8_t kResetBit = 0x02;
constexpr std::uint8_t kDisableLol = 0x80;
constexpr std::uint8_t kOverride = 0x80;
constexpr std::uint8_t kStepsOff = 0x10;
constexpr std::uint8_t kStepCommand = 0x60;  // FIDCT
constexpr unsigned kStepByPin = 1;
constexpr unsigned kStepUp = 2;
constexpr unsigned kStepDown = 3;

/// The narrowest range that a stepped MultiSynth may reach: 5 MHz to an eighth of the VCO.
constexpr std::uint64_t kLowestStepped = 5000000;
constexpr std::uint64_t kHighestSteppedShare = 8;

std::uint8_t Writable(std::size_t address) {
  const auto* run = std::ranges::find_if(
      kMasks, [&](const MaskRun& each) { return address >= each.first && address <= each.last; });
  return run == std::end(kMasks) ? 0 : run->writable;
}

/// What the PLL hangs on, for telling whether it has changed under a locked PLL.
constexpr Demand kBehindPll[] = {
    {28, 0xFF, 0},  {29, 0xFF, 0},  {30, 0xFF, 0},  {48, 0xFF, 0},  {49, 0x7F, 0},  {50, 0xFF, 0},
    {51, 0x07, 0},  {97, 0xFF, 0},  {98, 0xFF, 0},  {99, 0xFF, 0},  {100, 0xFF, 0}, {101, 0xFF, 0},
    {102, 0xFF, 0}, {103, 0xFF, 0}, {104, 0xFF, 0}, {105, 0xFF, 0}, {106, 0xFF, 0},
};

}  // namespace

Si5338::Si5338(std::string name, const Surroundings& around)
    : I2cChip(std::move(name), around),
      reference_(kReferenceHertz),
      // the board has been under power for longer than it takes to find the reference
      reference_since_(Clock().Monotonic() - kReferenceTime) {
  for (const PowerUp& row : kPowerUp) registers_[row.address] = row.value;
  for (std::size_t index = 0; index < kOutputs; ++index) {
    AddValue(around.units, "clk" + std::to_string(index),
             [this, index] { return ShowOutput(index); });
  }
  AddValue(
      around.units, "pll", [this] { return Lock(); },
      [this](std::string_view text) {
        if (text == "lost") lost_ = true;
        return text == "lost";
      });
  AddValue(
      around.units, "lock_failures",
      [this] { return lock_failures_ ? std::to_string(*lock_failures_) : "always"; },
      [this](std::string_view text) { return SetLockFailures(text); });
  AddValue(
      around.units, "reference",
      [this] { return reference_ ? std::to_string(*reference_) + " Hz" : "off"; },
      [this](std::string_view text) { return SetReference(text); });
  AddValue(around.units, "reserved_writes", [this] { return std::to_string(reserved_writes_); });
}

bool Si5338::SetReference(std::string_view text) {
  const auto hertz = ParseNumber(text, kHighestReference);
  if (text != "off" && hertz.value_or(0) == 0) return false;
  if (!reference_) reference_since_ = Clock().Monotonic();
  reference_ = hertz;
  return true;
}

bool Si5338::SetLockFailures(std::string_view text) {
  const auto count = ParseNumber(text, kMostFailures);
  if (count || text == "always") lock_failures_ = count;
  return count || text == "always";
}

// --- Registers ---

int Si5338::Take(std::span<const std::uint8_t> data) {
  Observe();
  if (data.empty()) return 0;
  pointer_ = data[0];
  for (const std::uint8_t value : data.subspan(1)) {
    WriteRegister(value);
    ++pointer_;
  }
  return 0;
}

int Si5338::Give(std::span<std::uint8_t> data) {
  Observe();
  for (std::uint8_t& byte : data) {
    byte = ReadRegister();
    ++pointer_;
  }
  return 0;
}

std::uint8_t Si5338::ReadRegister() {
  if (pointer_ == kPage) return static_cast<std::uint8_t>(page_);
  const std::size_t address = Place();
  if (address == kAlarms) return Alarms();
  return address < kRegisters ? registers_[address] : 0;
}

void Si5338::WriteRegister(std::uint8_t value) {
  if (pointer_ == kPage) {
    page_ = value & 1U;
    return;
  }
  const std::size_t address = Place();
  if (address >= kRegisters) return;
  const std::uint8_t writable = Writable(address);
  std::uint8_t& held = registers_[address];
  if (((value ^ held) & ~writable) != 0 && address != kAlarms) ++reserved_writes_;
  if (address == kSticky) value &= held;  // a write clears, it does not set
  held = static_cast<std::uint8_t>((held & ~writable) | (value & writable));
  AfterWrite(address, held);
}

void Si5338::AfterWrite(std::size_t address, std::uint8_t value) {
  if (address == kSoftReset && (value & kResetBit) != 0) SoftReset();
  if (address != kStepControl) return;
  if ((value & kStepsOff) != 0) stepped_ = 0;
  const unsigned command = (value & kStepCommand) >> 5;
  if (command == kStepUp || command == kStepDown) {
    StepMs0(command == kStepUp ? Step::kUp : Step::kDown);
    registers_[kStepControl] &= static_cast<std::uint8_t>(~kStepCommand);
  }
}

std::uint8_t Si5338::Alarms() const {
  const bool shows_lol = (registers_[kLossOfLock] & kDisableLol) == 0 && !IsLocked();
  return static_cast<std::uint8_t>((shows_lol ? kPllLol : 0) | (HasReference() ? 0 : kLosClkin) |
                                   (calibrating_ ? kSysCal : 0));
}

// --- The PLL ---

bool Si5338::HasReference() const {
  return reference_ && UsesReference(registers_) &&
         Clock().Monotonic() >= reference_since_ + kReferenceTime;
}

Image Si5338::Behind() const {
  Image image{};
  for (const Demand& row : kBehindPll) image[row.address] = registers_[row.address] & row.mask;
  return image;
}

void Si5338::SoftReset() {
  reset_at_ = Clock().Monotonic();
  reset_with_ = Behind();
  stepped_ = 0;
  lost_ = lock_failures_ != 0;
  if (lock_failures_.value_or(0) > 0) --*lock_failures_;
  if ((registers_[kLoop] & kOverride) == 0 && HasReference()) {
    calibrating_ = DecodePll(registers_, Fraction(*reference_)).fcal;
  }
  registers_[kSticky] |= Alarms();
}

void Si5338::Observe() {
  if (calibrating_ && Clock().Monotonic() >= *reset_at_ + kCalibrationTime) {
    for (std::size_t i = 0; i < 3; ++i) {
      registers_[kFcal + i] = static_cast<std::uint8_t>(*calibrating_ >> 8 * i);
    }
    calibrating_.reset();
  }
  registers_[kSticky] |= Alarms();
}

std::string Si5338::Lock() const {
  if (!HasReference()) return "unlocked: no reference";
  if (!reset_at_) return "unlocked: no soft reset yet";
  if (lost_) return "unlocked: lost";
  if (Behind() != reset_with_) return "unlocked: registers changed since the soft reset";
  const Pll pll = DecodePll(registers_, Fraction(*reference_));
  if (!pll.problem.empty()) return "unlocked: " + pll.problem;
  const auto since = std::max(*reset_at_, reference_since_ + kReferenceTime);
  return Clock().Monotonic() < since + kLockTime ? "locking" : "locked";
}

// --- Outputs ---

std::optional<Fraction> Si5338::OutputLocked(std::size_t index) const {
  if (IsOff() || !IsLocked()) return std::nullopt;
  const OutputPath path = DecodeOutput(registers_, index);
  if (!path.on) return std::nullopt;
  const Fraction vco = DecodePll(registers_, Fraction(*reference_)).vco;
  if (path.multisynth != 0 || stepped_ == 0) return vco / path.divider;
  const auto hertz = Stepped(vco, stepped_);
  if (!hertz) return std::nullopt;
  return *hertz / Fraction(DecodeR(registers_, index));
}

/// The words may have changed since the steps were taken, so they are checked again each time.
std::optional<Fraction> Si5338::Stepped(const Fraction& vco, std::int64_t steps) const {
  const StepWords words = DecodeStepWords(registers_);
  const std::int64_t present = static_cast<std::int64_t>(words.start) + steps;
  if (present <= 0 || words.total == 0) return std::nullopt;
  const Fraction hertz = vco / Fraction(words.total, static_cast<std::uint64_t>(present));
  const double value = hertz.Value();
  if (value < kLowestStepped || value > vco.Value() / kHighestSteppedShare) return std::nullopt;
  return hertz;
}

std::optional<Fraction> Si5338::Output(std::size_t index) const {
  const std::lock_guard lock(mutex_);
  return OutputLocked(index);
}

std::string Si5338::ShowOutput(std::size_t index) const {
  if (IsOff()) return "off";
  const auto hertz = OutputLocked(index);
  if (hertz) return HertzText(*hertz);
  return DecodeOutput(registers_, index).on ? "unlocked" : "off";
}

void Si5338::PulsePin(Step step) {
  const std::lock_guard lock(mutex_);
  if ((registers_[kStepControl] & kStepCommand) >> 5 == kStepByPin) StepMs0(step);
}

/// A step that would leave the MultiSynth's range is not taken.
void Si5338::StepMs0(Step step) {
  if (IsOff() || !IsLocked() || !CanStep(registers_)) return;
  const StepWords words = DecodeStepWords(registers_);
  const auto by = static_cast<std::int64_t>(words.step);
  const std::int64_t next = step == Step::kUp ? stepped_ + by : stepped_ - by;
  const Fraction vco = DecodePll(registers_, Fraction(*reference_)).vco;
  if (Stepped(vco, next)) stepped_ = next;
}

std::string Si5338::Describe() const { return "PLL " + Lock() + ", CLK0 " + ShowOutput(0); }

}  // namespace simulator

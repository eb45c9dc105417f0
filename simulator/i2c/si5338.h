// The Si5338, the clock generator of a signal module: four outputs from one PLL.
//
// Registers and pages are those of the chip; a write leaves reserved bits alone. The PLL locks some
// milliseconds after a soft reset on registers that are legal, and stays locked until the registers
// behind it change or the reference is lost. What the outputs do is computed from what was written.
//
// Values behind the name (what else a chip has: chip.h):
//
//   clk0 .. clk3      "N/D = x Hz", "off" or "unlocked"
//   pll               "locked", "locking", or "unlocked: why"; `set ... lost`: loses lock now,
//   until
//                     the next soft reset
//   lock_failures     N: the next N soft resets do not lock; "always": none does
//   reference         hertz at the input, a whole number, or "off"
//   reserved_writes   writes that would have changed reserved bits
//
// Left out: phase and spread spectrum, R dividers that bypass the MultiSynths, external feedback.
#pragma once

#include <optional>

#include "simulator/fraction.h"
#include "simulator/i2c/chip.h"
#include "simulator/i2c/si5338_plan.h"

namespace simulator {

class Si5338 final : public I2cChip {
 public:
  enum class Step { kUp, kDown };

  static constexpr platform::Nanoseconds kCalibrationTime = std::chrono::milliseconds(4);
  static constexpr platform::Nanoseconds kLockTime = std::chrono::milliseconds(12);
  /// Until a reference that has come back counts as there.
  static constexpr platform::Nanoseconds kReferenceTime = std::chrono::milliseconds(5);

  Si5338(std::string name, const Surroundings& around);

  /// In hertz; nothing when the output is off or its PLL not locked. Requires an index below 4.
  std::optional<Fraction> Output(std::size_t index) const;
  /// A pulse on the pin that steps the frequency.
  void PulsePin(Step step);

 private:
  int Take(std::span<const std::uint8_t> data) override;
  int Give(std::span<std::uint8_t> data) override;
  std::string Describe() const override;

  std::size_t Place() const { return page_ * si5338::kPageSize + pointer_; }
  void WriteRegister(std::uint8_t value);
  std::uint8_t ReadRegister();
  void AfterWrite(std::size_t address, std::uint8_t value);
  void SoftReset();
  void StepMs0(Step step);
  /// What time has brought: the end of a calibration, alarms that stick.
  void Observe();
  std::uint8_t Alarms() const;

  bool HasReference() const;
  std::string Lock() const;
  bool IsLocked() const { return Lock() == "locked"; }
  si5338::Image Behind() const;
  std::optional<Fraction> OutputLocked(std::size_t index) const;
  /// MultiSynth 0 after so many steps; nothing outside the range that it may be stepped in.
  std::optional<Fraction> Stepped(const Fraction& vco, std::int64_t steps) const;
  std::string ShowOutput(std::size_t index) const;
  bool SetReference(std::string_view text);
  bool SetLockFailures(std::string_view text);

  si5338::Image registers_{};
  std::size_t page_ = 0;
  std::uint8_t pointer_ = 0;
  std::uint64_t reserved_writes_ = 0;

  std::optional<std::uint64_t> reference_;  ///< hertz
  platform::Nanoseconds reference_since_;
  std::optional<platform::Nanoseconds> reset_at_;  ///< the last soft reset
  si5338::Image reset_with_{};                     ///< what the PLL was reset with, as Behind()
  std::optional<std::uint32_t> calibrating_;       ///< the word that a calibration will find
  bool lost_ = false;
  std::optional<std::uint64_t> lock_failures_{0};  ///< nothing: always
  std::int64_t stepped_ = 0;                       ///< FIDP2 up less down since the last reset
};

}  // namespace simulator

// The CPLD of a measurement channel board: identity, configuration, range, status, protection.
//
// Values under the name given: NAME.config, NAME.range, NAME.test_mode (as the daemon set them),
// NAME.status (the byte that it would read now), NAME.faults (status bits that the hardware keeps
// set), NAME.overload (0 or 1: the input is overloaded now), NAME.safemode (0 or 1: the latch),
// NAME.busy_ms (time that the CPLD takes for an accepted write).
//
// Threads: any.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "simulator/cpld_id.h"
#include "simulator/units.h"

namespace simulator {

class MeasCpld {
 public:
  MeasCpld(const std::string& name, CpldId id, std::uint16_t revision, platform::Clock& clock,
           Units& units);

  /// One SPI transfer: `in` is as long as `out` and full of 0xFF. `wrong`: with the other
  /// generation's identity.
  void Exchange(std::uint8_t select, std::span<const std::uint8_t> out, std::span<std::uint8_t> in,
                bool wrong);

  struct Settings {
    std::uint32_t config = 0;     ///< 24 bits, the first byte of the register lowest
    std::uint8_t range_code = 0;  ///< what the range register holds
    std::uint8_t test_mode = 0;
    bool safe = false;  ///< the latch holds the input on a safe setting
    bool busy = false;
    platform::Nanoseconds busy_until{0};  ///< max() for a busy that never ends
  };
  Settings Read() const;
  /// `before` runs before each transfer and before each change from the hardware's side by hand, so
  /// that what was until then can be brought to its end. Set once, before use.
  void Observe(std::function<void()> before) { before_ = std::move(before); }

  /// From the hardware's side: an overload trips the latch, which stays until an accepted write
  /// finds the overload gone.
  void SetOverload(bool on);
  /// The ADC's own over-range line; follows the signal.
  void SetAdcOverRange(bool on);

  std::string Describe() const;

 private:
  std::uint8_t Status() const Q5_REQUIRES(mutex_);
  bool Busy() const Q5_REQUIRES(mutex_);
  void TellBefore() const {
    if (before_) before_();
  }
  void Accept() Q5_REQUIRES(mutex_);
  void Identify(std::span<std::uint8_t> in, bool wrong) const;
  void Configure(std::span<const std::uint8_t> out) Q5_REQUIRES(mutex_);
  void SetRange(std::span<const std::uint8_t> out) Q5_REQUIRES(mutex_);
  void Show(std::span<std::uint8_t> in) const Q5_REQUIRES(mutex_);
  void AddFlag(const std::string& name, const char* value, bool& flag, Units& units);

  const CpldId id_;
  const std::uint16_t revision_;
  platform::Clock& clock_;
  std::function<void()> before_;
  mutable platform::Mutex mutex_;
  std::array<std::uint8_t, 3> config_ Q5_GUARDED_BY(mutex_){};
  std::uint8_t range_code_ Q5_GUARDED_BY(mutex_) = 0;
  std::uint8_t test_mode_ Q5_GUARDED_BY(mutex_) = 0;
  std::uint8_t faults_ Q5_GUARDED_BY(mutex_) = 0;
  bool overload_ Q5_GUARDED_BY(mutex_) = false;
  bool latched_ Q5_GUARDED_BY(mutex_) = false;
  bool adc_over_range_ Q5_GUARDED_BY(mutex_) = false;
  platform::Nanoseconds busy_time_ Q5_GUARDED_BY(mutex_);
  platform::Nanoseconds busy_until_ Q5_GUARDED_BY(mutex_){0};
};

}  // namespace simulator

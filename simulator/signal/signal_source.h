// What feeds the device under test: a voltage or a current, sinusoidal, with harmonics, a direct
// part and pick-up from the mains.
//
// Values:
//   source.on          0 or 1
//   source.kind        voltage or current
//   source.frequency   hertz, or "test": that of the wave in the FPGA's plan, locked to the samples
//   source.amplitude   volts or amperes RMS
//   source.dc          volts or amperes
//   source.phase       degrees
//   source.ramp        volts or amperes a second by which amplitude and dc move to a new value; 0:
//   at
//                      once
//   source.harmonics   ORDER:RELATIVE:DEGREES with commas between them, or "none"
//   source.line_noise  amplitude at the mains' frequency, relative to the amplitude
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/thread_safety.h"
#include "simulator/units.h"

namespace simulator {

struct Harmonic {
  unsigned order = 0;
  double relative = 0;  ///< to the fundamental's amplitude
  double degrees = 0;

  friend bool operator==(const Harmonic&, const Harmonic&) = default;
};

struct SourceSettings {
  enum class Kind : std::uint8_t { kVoltage, kCurrent };

  bool on = false;
  Kind kind = Kind::kVoltage;
  std::optional<double> hertz;  ///< nothing: the plan's test frequency
  double amplitude = 0;         ///< RMS
  double dc = 0;
  double degrees = 0;
  double ramp = 0;  ///< a second of sample time
  std::vector<Harmonic> harmonics;
  double line_noise = 0;

  friend bool operator==(const SourceSettings&, const SourceSettings&) = default;
};

/// Threads: any.
class SignalSource {
 public:
  static constexpr std::size_t kMostHarmonics = 16;

  explicit SignalSource(Units& units);

  /// `before` runs before each change, so that what was until then can be brought to its end. Set
  /// once, before use.
  void Observe(std::function<void()> before) { before_ = std::move(before); }

  SourceSettings Get() const;
  void Set(const SourceSettings& settings);
  /// Changes with every change.
  std::uint64_t Version() const { return version_; }

 private:
  /// Always true, so that a setter can end with it.
  bool Change(const std::function<void(SourceSettings&)>& change);
  void AddNumber(Units& units, const std::string& name, double SourceSettings::*field, double least,
                 double most);

  std::function<void()> before_;
  std::atomic<std::uint64_t> version_{1};
  mutable platform::Mutex mutex_;
  SourceSettings settings_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator

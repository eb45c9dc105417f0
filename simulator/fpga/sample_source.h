// What the converters deliver to the FPGA: the line between the physics and the sample stream.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/clock.h"
#include "simulator/fraction.h"

namespace simulator::fpga {

/// What the physics has to know of the FPGA.
struct SampleConditions {
  Fraction rate;            ///< pairs a second of sample time
  Fraction test_frequency;  ///< hertz, of the wave that the plan makes; 0 without a clock
  double line_hertz = 0;

  friend bool operator==(const SampleConditions&, const SampleConditions&) = default;
};

/// Threads: one at a time.
class SampleSource {
 public:
  virtual ~SampleSource() = default;

  /// Sampling begins: everything has settled.
  virtual void Begin() = 0;
  /// Takes over how everything is set at the moment `at`, for the pairs that follow.
  virtual void Prepare(const SampleConditions& conditions, platform::Nanoseconds at) = 0;
  /// When the settings change next by themselves.
  virtual std::optional<platform::Nanoseconds> NextChange() const = 0;
  /// The next pairs; words with sample and condition, the rest 0.
  virtual void Generate(std::span<std::uint32_t> words) = 0;
  /// Passes over so many pairs.
  virtual void Skip(std::uint64_t pairs) = 0;
};

}  // namespace simulator::fpga

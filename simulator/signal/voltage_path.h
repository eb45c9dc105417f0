// What is between the device under test and the channels' AC voltage inputs: nothing, or one of
// the main module's high-voltage dividers.
//
// Values: path.meas1, path.meas2 ("direct", "HV1", "HV2").
#pragma once

#include <array>
#include <atomic>
#include <complex>
#include <cstdint>
#include <functional>

#include "platform/thread_safety.h"
#include "simulator/calibration/divider_hardware.h"
#include "simulator/config.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class VoltagePath {
 public:
  enum class Tap : std::uint8_t { kDirect, kHv1, kHv2 };
  using Taps = std::array<Tap, kMeasChannels>;

  explicit VoltagePath(Units& units);

  /// As SignalSource::Observe.
  void Observe(std::function<void()> before) { before_ = std::move(before); }
  Taps Get() const;
  void Set(const Taps& taps);
  std::uint64_t Version() const { return version_; }

  /// Volts at an input behind `tap` per volt at the device.
  std::complex<double> Response(Tap tap, double hertz) const;

 private:
  void SetOne(std::size_t channel, Tap tap);

  const Dividers dividers_;
  std::function<void()> before_;
  std::atomic<std::uint64_t> version_{1};
  mutable platform::Mutex mutex_;
  Taps taps_ Q5_GUARDED_BY(mutex_){};
};

}  // namespace simulator

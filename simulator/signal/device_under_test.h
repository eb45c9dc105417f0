// The device under test: resistance, capacitance and inductance between the source's terminals.
//
// Value: dut.circuit, "parallel" or "series" and its parts, any of them left out:
// "parallel R=6.63e8 C=1e-9 L=10" (ohms, farads, henries), "parallel" alone: nothing connected,
// "series" alone: a short circuit.
#pragma once

#include <atomic>
#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/thread_safety.h"
#include "simulator/units.h"

namespace simulator {

struct Circuit {
  bool parallel = true;
  std::optional<double> r;  ///< ohms
  std::optional<double> c;  ///< farads
  std::optional<double> l;  ///< henries

  /// At `hertz`, 0 for direct current, with 1 microohm of leads before and 10^15 ohms of leakage
  /// across it, so that it is never 0.
  std::complex<double> Impedance(double hertz) const;

  friend bool operator==(const Circuit&, const Circuit&) = default;
};

std::optional<Circuit> ParseCircuit(std::string_view text);
std::string CircuitText(const Circuit& circuit);

/// A bushing of 1 nF whose tan delta is 0.004 at 60 Hz, until set otherwise. Threads: any.
class DeviceUnderTest {
 public:
  explicit DeviceUnderTest(Units& units);

  /// As SignalSource::Observe.
  void Observe(std::function<void()> before) { before_ = std::move(before); }
  Circuit Get() const;
  void Set(const Circuit& circuit);
  std::uint64_t Version() const { return version_; }

 private:
  std::function<void()> before_;
  std::atomic<std::uint64_t> version_{1};
  mutable platform::Mutex mutex_;
  Circuit circuit_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator

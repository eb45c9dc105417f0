// The leads of a test: which are energized and which measured, and the stray admittance from one to
// the other, which shunts the device under test.
//
// Values:
//   leads.energize, leads.measure   names with blanks between them, or "none"
//   leads.stray                     "none", or paths with ", " between them, each SOURCE MEASURED
//                                   C=farads and, after a blank, tan=loss factor (0):
//                                   "HV1 MIR C=5e-12 tan=0.002, SVR MIB C=8e-12"
//
// A path acts while its first lead is energized and its second one is measured.
#pragma once

#include <atomic>
#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/thread_safety.h"
#include "simulator/units.h"

namespace simulator {

struct StrayPath {
  int source = 0;    ///< bit of the lead
  int measured = 0;  ///< bit of the lead
  double c = 0;      ///< farads
  double loss = 0;   ///< tangent of the loss angle, the same at every frequency

  friend bool operator==(const StrayPath&, const StrayPath&) = default;
};

struct LeadSettings {
  unsigned energized = 0;  ///< bits of leads
  unsigned measured = 0;
  std::vector<StrayPath> strays;

  /// Siemens at `hertz`, of the paths that act.
  std::complex<double> Admittance(double hertz) const;
};

/// None in use and no stray, until set otherwise. Threads: any.
class Leads {
 public:
  explicit Leads(Units& units);

  /// As SignalSource::Observe.
  void Observe(std::function<void()> before) { before_ = std::move(before); }
  LeadSettings Get() const;
  /// The leads of a test; bits without a lead are ignored.
  void Use(unsigned energized, unsigned measured);
  std::uint64_t Version() const { return version_; }

 private:
  void Change(const std::function<void(LeadSettings&)>& change);

  std::function<void()> before_;
  std::atomic<std::uint64_t> version_{1};
  mutable platform::Mutex mutex_;
  LeadSettings settings_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator

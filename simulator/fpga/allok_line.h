// The safety line between the modules: up as long as no module pulls it down.
//
// Values: allok.main, allok.meas, allok.source (0: that module pulls; settable for the other
// modules) and allok.line.
#pragma once

#include <array>
#include <atomic>

#include "simulator/config.h"
#include "simulator/units.h"

namespace simulator::fpga {

/// Threads: any.
class AllokLine {
 public:
  AllokLine(Module own, Units& units);

  /// What this module does with the line.
  void SetOwn(bool ok) { ok_[static_cast<std::size_t>(own_)] = ok; }
  bool IsUp() const;

 private:
  const Module own_;
  std::array<std::atomic<bool>, kModules> ok_;
};

}  // namespace simulator::fpga

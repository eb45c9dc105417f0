// Whether the voltage of a running test is too high, from the fast filter and the channel's status.
//
// A phasor counts when it is new and its channel measures on the range of the test. Clipped samples
// make no phasor. On a range that the daemon has chosen for the target, a signal that stays beyond
// the range is far above the target, and that is too high as well.
//
// Threads: one at a time, but for Begin.
#pragma once

#include <cstdint>

namespace Mos {

class VoltageWatch {
 public:
  struct Look {
    double volts = 0;          ///< the latest phasor
    std::int64_t results = 0;  ///< phasors made so far
    bool scaled = false;       ///< `volts` has the scale of the test's range
    int status = 0;            ///< of the channel
    bool own_range = false;    ///< the daemon has chosen the range, not the host
    double hertz = 0;
  };

  static constexpr double kPeriod = 0.1;  ///< s from one look to the next

  void Begin() { *this = {}; }
  /// `limit` in V.
  bool IsTooHigh(const Look& look, double limit);

 private:
  std::int64_t results_ = 0;
  int looks_beyond_ = 0;
};

}  // namespace Mos

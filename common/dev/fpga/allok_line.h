// Who may raise this module's ALLOK line: the daemon's reasons against it, in one place.
//
// A raised line says that a daemon watches over the output. While there is a reason the line stays
// down, whoever asks; a raise and the look at the reasons are one step.
#pragma once

#include <atomic>
#include <functional>

#include "platform/thread_safety.h"

namespace Dev {

/// Threads: any. A call takes at most four requests to the FPGA, and may wait for those of another.
class AllokLine {
 public:
  enum Reason : unsigned {
    kNotReady = 1u << 0,       ///< the daemon starts, or it ends
    kOverVoltage = 1u << 1,    ///< the running test has reached its limit
    kNotProvedDown = 1u << 2,  ///< nobody can say that the output is down
  };

  /// Drops the line for `reason`, by the prepared request where the driver does not take another.
  void Hold(Reason reason);
  /// Removes `reasons`, a sum. Without any reason left a line that is down is raised.
  void Withdraw(unsigned reasons);
  bool IsHeldFor(unsigned reasons) const { return (reasons_ & reasons) != 0; }
  /// The periodic look: raises a line that something else has dropped, and calls `before` just
  /// before; drops one that is up against a reason. True when it has raised.
  bool Look(const std::function<void()>& before);

 private:
  platform::Mutex mutex_;  ///< held over a raise and a drop, not by a look
  std::atomic<unsigned> reasons_{kNotReady};
};

}  // namespace Dev

// What the daemon does by itself: it raises a dropped ALLOK line, drops it when the voltage is too
// high, and brings the measurement to rest when the host goes silent or the safety switch opens.
//
// Threads: the timers' call what they call; the handlers the rest. A step of the recovery never
// runs beside a request.
#pragma once

#include <chrono>
#include <mutex>

#include "common/dev/fpga/allok_line.h"
#include "common/dev/fpga/fpga_dev.h"
#include "mos/instrument/filter_reader.h"
#include "mos/instrument/measurement.h"
#include "mos/instrument/sampling_clock.h"
#include "mos/instrument/voltage_watch.h"

namespace Mos {

// Callbacks of the timers; `its` is the Recovery.
int AllokCB(void* its);
int MessageMonitorCB(void* its);
int TestMonitorCB(void* its);

/// Tells both channels to come to rest. Any thread.
void QuiesceSM();

/// How long a request may hold the daemon: the host's patience, and the silence watchdog's.
inline constexpr auto kLongestRequest = std::chrono::seconds(8);

class Recovery {
 public:
  /// All outlive the object.
  Recovery(Measurement& measurement, SamplingClock& clock, FilterReader& filters,
           Dev::AllokLine& allok)
      : measurement_(measurement), clock_(clock), filters_(filters), allok_(allok) {}

  /// V; before the first test.
  void SetHighestVoltage(double volts) { highest_volts_ = volts; }

  // --- What the handlers of a test ask for ---

  /// From here on a host that is silent loses its test.
  void WatchHost();
  /// What the watch saw in the test before says nothing of this one.
  void ForgetVoltage();
  void WatchVoltage();
  /// The error word that forbids a start as long as the daemon holds ALLOK down; 0 for none.
  short ReasonAgainstStart() const;
  /// Withdraws the reasons of a test.
  void RaiseAllok();

  // --- What the timers call; 0 each ---

  int AllokRecovery();
  int MessageMonitor();
  /// Ends the test of a host that is silent, and the watch on it. A host that sets a test up or
  /// stops one while the ramp-down is waited for keeps what it asked for.
  int RecoverMos();
  /// Drops ALLOK, until the test is over, when its voltage reaches the configured limit.
  int TestMonitor();

 private:
  using RequestLock = std::unique_lock<std::mutex>;
  void Recover(RequestLock& lock);
  void MakeSafe();
  void BeginRecovery();
  void DropAllok();
  void EndDischarge(Dev::FpgaDev& fpga, const Dev::FpgaRampControl::RampDownResult& result);
  void EndRecovery();

  Measurement& measurement_;
  SamplingClock& clock_;
  FilterReader& filters_;
  Dev::AllokLine& allok_;
  double highest_volts_ = 0;
  std::mutex watch_mutex_;  ///< held by a look at the voltage; guards voltage_watch_
  VoltageWatch voltage_watch_;
};

}  // namespace Mos

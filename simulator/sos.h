// The source module as far as the host's records say: what feeds the device under test in a test.
//
//   record        effect
//   0x03, 0x33    a test is set up: kind of source and highest voltage or current; a source that is
//                 on ramps to zero
//   0x04, 0x34    target, polarity, frequency. While the test runs the source ramps to a new target
//   at
//                 once; for another polarity or frequency it ramps to zero first
//   0x05          the source is switched on and ramps to its target
//   0x27, 0x07    the source ramps to zero and is switched off; 0x07 ends the test
//
// Targets are volts RMS of a voltage source, amperes RMS of a current source, or their direct
// values. The wave follows the measurement module's plan. A record out of this order, one with a
// value that the measurement daemon refuses, and a test of an external source change nothing: then
// source.* is what was set by hand. The ALLOK line, when it falls, switches off without a ramp and
// ends the test. So do, with a ramp, 8 s without a record that the measurement daemon's watchdog
// counts.
//
// Values: sos.state ("idle", "set up", "ready", "running", "paused"), sos.target (of the last
// update), sos.ramp (seconds from zero to the target and back, 0.25). Fault: off (the source is
// off, and no record is heard).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "common/msg/records/hmp_test_setup.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "simulator/host_record.h"
#include "simulator/signal/signal_source.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class Sos {
 public:
  struct Setup {
    std::function<bool()> allok;  ///< whether the line is up; any thread
    double speed = 1;             ///< seconds of signal in a second
    std::uint64_t seed = 0;
  };

  /// The references outlive the module.
  Sos(Setup setup, platform::Clock& clock, SignalSource& source, Units& units);

  /// A record that the main module passes to the measurement daemon, too.
  void Hear(HostRecord record);
  /// What time brings: the end of a ramp, the ALLOK line. Called every few milliseconds.
  void Update();

 private:
  enum class State : std::uint8_t { kIdle, kSetUp, kReady, kRunning, kPaused };

  /// How the source is to be driven.
  struct Drive {
    SourceSettings::Kind kind = SourceSettings::Kind::kVoltage;
    bool direct = false;
    bool negative = false;
    float hertz = 0;  ///< a change passes through zero; the wave itself is the plan's
    double level = 0;

    bool SameWave(const Drive& other) const;
    friend bool operator==(const Drive&, const Drive&) = default;
  };

  void HearRecord(HostRecord record) Q5_REQUIRES(mutex_);
  void SetUp(int source_word, int limit, int test_type, bool voltage) Q5_REQUIRES(mutex_);
  void TakeUpdate(int polarity, float hertz, int target, bool voltage) Q5_REQUIRES(mutex_);
  void Start() Q5_REQUIRES(mutex_);
  void End(State state) Q5_REQUIRES(mutex_);
  /// Brings the source towards what is wanted, as far as it can go now.
  void Follow() Q5_REQUIRES(mutex_);
  void SwitchOn(const Drive& drive) Q5_REQUIRES(mutex_);
  void SwitchOff(double seconds) Q5_REQUIRES(mutex_);

  const Setup setup_;
  platform::Clock& clock_;
  SignalSource& source_;
  FaultSwitch faults_;

  platform::Mutex mutex_;
  double ramp_seconds_ Q5_GUARDED_BY(mutex_);
  State state_ Q5_GUARDED_BY(mutex_) = State::kIdle;
  bool voltage_ Q5_GUARDED_BY(mutex_) = true;  ///< which of the two kinds of update the test takes
  int limit_ Q5_GUARDED_BY(mutex_) = 0;        ///< volts or amperes
  bool names_frequency_ Q5_GUARDED_BY(mutex_) = true;  ///< in its updates
  Drive drive_ Q5_GUARDED_BY(mutex_);                  ///< of the last update
  std::optional<Drive> wanted_ Q5_GUARDED_BY(mutex_);
  std::optional<Drive> driven_ Q5_GUARDED_BY(mutex_);
  platform::Nanoseconds heard_at_ Q5_GUARDED_BY(mutex_){0};  ///< the last sign of the host's life
  platform::Nanoseconds quiet_at_ Q5_GUARDED_BY(mutex_){0};  ///< when the last ramp to zero is over
};

}  // namespace simulator

// The source module as far as the host's records say: what feeds the device under test in a test.
//
//   record        effect
//   0x03, 0x33    a test is set up: kind of source and highest voltage or current; a source that is
//                 on ramps to zero. Of a line-synchronised test the line's frequency is said (4)
//                 until it starts
//   0x04, 0x34    target, polarity, frequency. While the test runs the source follows at once
//   0x05          the source is switched on and ramps to its target
//   0x27, 0x07    the source ramps to zero and is switched off; 0x07 ends the test
//
// What it says on its way, and how long that takes, is in drive_sequence.h.
//
// Targets are volts RMS of a voltage source, amperes RMS of a current source, or their direct
// values. The wave follows the measurement module's plan, or the mains in a line-synchronised test.
// A record out of this order and one with a value that the measurement daemon refuses change
// nothing. A test of an external source leaves source.* as set by hand; what is said is the same.
// The ALLOK line, when it falls, the emergency stop (20, answered by 22) and the safety switch (23,
// answered by 24) switch off without a ramp and end the test. So do, with a ramp, 8 s without a
// record that the measurement daemon's watchdog counts.
//
// Values: sos.state ("idle", "set up", "ready", "running", "paused"), sos.target (of the last
// update), sos.ramp, sos.enable, sos.settle (seconds), sos.waits (on, off), sos.slow (hertz); see
// DriveSequence::Times. Fault: off (the source is off, nothing is heard or said).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "common/msg/records/hmp_test_setup.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "simulator/drive_sequence.h"
#include "simulator/host_record.h"
#include "simulator/signal/signal_source.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class Sos {
 public:
  struct Setup {
    std::function<bool()> allok;  ///< whether the line is up; any thread, as the others
    double speed = 1;             ///< seconds of signal in a second
    std::uint64_t seed = 0;
    /// What it says; is not called while it is off.
    DriveSequence::Links links{[](const IMSG::IntPubSubMsg&) {}, [] {}};
    std::function<double()> line_hertz = [] { return 0.0; };
    /// Whether the main module's panel keeps the source off.
    std::function<bool()> stopped = [] { return false; };
  };

  /// The references outlive the module.
  Sos(Setup setup, platform::Clock& clock, SignalSource& source, Units& units);

  /// A record that the main module passes to the measurement daemon, too.
  void Hear(HostRecord record);
  /// A message of another program of the instrument.
  void HearMessage(const IMSG::IntPubSubMsg& message);
  /// Whether the record heard last may go on to the measurement daemon.
  bool MayPass();
  /// What time brings: the end of a ramp, the ALLOK line. Called every few milliseconds.
  void Update();

 private:
  enum class State : std::uint8_t { kIdle, kSetUp, kReady, kRunning, kPaused };

  void HearRecord(HostRecord record) Q5_REQUIRES(mutex_);
  void SetUp(int source_word, int limit, int test_type, bool voltage) Q5_REQUIRES(mutex_);
  void TakeUpdate(int polarity, int target, bool voltage, const Drive& wish) Q5_REQUIRES(mutex_);
  void Start() Q5_REQUIRES(mutex_);
  void End(State state) Q5_REQUIRES(mutex_);
  void StopAtOnce(IMSG::MessageId answer) Q5_REQUIRES(mutex_);
  void SayLineFrequency() Q5_REQUIRES(mutex_);
  void AddTimes(Units& units);
  void AddNumber(Units& units, const char* name, double DriveSequence::Times::*field, double most);

  const Setup setup_;
  platform::Clock& clock_;
  FaultSwitch faults_;

  platform::Mutex mutex_;
  DriveSequence sequence_ Q5_GUARDED_BY(mutex_);
  State state_ Q5_GUARDED_BY(mutex_) = State::kIdle;
  bool voltage_ Q5_GUARDED_BY(mutex_) = true;  ///< which of the two kinds of update the test takes
  int limit_ Q5_GUARDED_BY(mutex_) = 0;        ///< volts or amperes
  bool names_frequency_ Q5_GUARDED_BY(mutex_) = true;  ///< in its updates
  bool follows_line_ Q5_GUARDED_BY(mutex_) = false;
  Drive drive_ Q5_GUARDED_BY(mutex_);                        ///< of the last update
  platform::Nanoseconds heard_at_ Q5_GUARDED_BY(mutex_){0};  ///< the last sign of the host's life
  platform::Nanoseconds line_said_at_ Q5_GUARDED_BY(mutex_){0};
};

}  // namespace simulator

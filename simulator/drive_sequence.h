// How the source module brings its source from one setting to another, and what it says meanwhile:
//
//   start          [wait for message 6] enable, 7 (source enabled), ramp, drive changes complete
//   other wave     ramp to zero, [5 (next frequency and ranges) in a sweep], then as a start
//   target alone   7 (prepare for change), ramp, drive changes complete
//   off            ramp to zero
//
// The waits for message 6 ("the measurement has nulled its offsets") are off unless they are
// chosen, and end after 7 s. In a sweep below `slow_hertz` a second one comes before the ramp.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "common/zpubsub/records/int_pub_sub_msg.h"
#include "platform/clock.h"
#include "simulator/signal/signal_source.h"

namespace simulator {

/// How the source is to be driven.
struct Drive {
  SourceSettings::Kind kind = SourceSettings::Kind::kVoltage;
  bool external = false;  ///< a source that is not the module's own is left as it is
  bool direct = false;
  bool negative = false;
  bool sweeps = false;
  float hertz = 0;  ///< a change passes through zero; the wave itself is the plan's
  std::optional<double> line_hertz{};  ///< the wave follows the mains instead
  double level = 0;
  int current_range = 0;  ///< of the measurement, for what is said
  int voltage_range = 0;

  bool SameWave(const Drive& other) const;
};

/// Threads: one at a time.
class DriveSequence {
 public:
  struct Links {
    std::function<void(const IMSG::IntPubSubMsg&)> say;
    std::function<void()> say_complete;
  };
  struct Times {
    double ramp = 0.25;     ///< s of signal from zero to the target and back
    double enable = 0.01;   ///< s from the wish to a source that is enabled
    double settle = 0.01;   ///< s from then to the ramp
    bool waits = false;     ///< for message 6
    double slow_hertz = 1;  ///< see above
  };

  DriveSequence(Links links, platform::Clock& clock, SignalSource& source, double speed)
      : links_(std::move(links)), clock_(clock), source_(source), speed_(speed) {}

  /// A test begins: what was heard before is not about it.
  void Forget() { nulled_ = false; }
  void HearNulled() { nulled_ = true; }
  /// Begins to bring the source there; nothing: to zero.
  void Want(const std::optional<Drive>& drive);
  /// What time brings. Called every few milliseconds.
  void Follow();
  /// Off without a ramp.
  void Cut();

  bool IsOn() const { return driven_.has_value(); }
  /// Whether the measurement may hear of the last wish: not while the source is on its way to zero
  /// for it.
  bool MayPass() const { return !passes_zero_; }

  Times times;

 private:
  enum class Phase : std::uint8_t {
    kRest,
    kToZero,
    kAtZero,
    kAwaitNulled,
    kEnabling,
    kAwaitAgain,
    kEnabled,
    kPrepared,
    kRamping
  };

  void Enter(Phase phase, double seconds);
  /// Through zero, if `wanted_` needs it.
  void BeginChange(float hertz_before);
  /// False when nothing more can be done now.
  bool Step();
  bool LeaveZero();
  void Enable();
  void Rest(double seconds);
  void SayEvent(int event);
  void SayAtZero();
  void SwitchOn();
  void SwitchOff(double seconds);

  const Links links_;
  platform::Clock& clock_;
  SignalSource& source_;
  const double speed_;
  Phase phase_ = Phase::kRest;
  platform::Nanoseconds due_{0};  ///< when the phase is over
  bool passes_zero_ = false;      ///< and has not left it yet, for another wave
  bool step_ = false;             ///< that change is to be announced at zero
  bool nulled_ = false;           ///< message 6 has come
  std::optional<Drive> wanted_;
  std::optional<Drive> driven_;
};

}  // namespace simulator

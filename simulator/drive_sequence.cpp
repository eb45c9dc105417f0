#include "simulator/drive_sequence.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace simulator {
namespace {

/// For the pair at which a change takes effect: samples are made a few milliseconds apart.
constexpr platform::Nanoseconds kRampMargin = std::chrono::milliseconds(10);
constexpr double kLongestWait = 7;   // s, for message 6
constexpr double kOnItsWay = 0.001;  // s that a message has before the record that it announces
constexpr double kReversed = 180;    // degrees
/// EXTERNAL_EVENT of the channels.
constexpr int kPrepareForChange = 10;
constexpr int kSourceEnabled = 13;

platform::Nanoseconds Seconds(double seconds) {
  return std::chrono::ceil<platform::Nanoseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

bool Drive::SameWave(const Drive& other) const {
  return kind == other.kind && external == other.external && direct == other.direct &&
         negative == other.negative && hertz == other.hertz;
}

void DriveSequence::Enter(Phase phase, double seconds) {
  phase_ = phase;
  due_ = clock_.Monotonic() + Seconds(seconds);
}

void DriveSequence::Want(const std::optional<Drive>& drive) {
  const auto before = std::exchange(wanted_, drive);
  if (!drive) {
    Rest(times.ramp);
  } else if (driven_ && drive->SameWave(*driven_)) {
    SayEvent(kPrepareForChange);
    Enter(Phase::kPrepared, times.settle);
  } else if (driven_) {
    BeginChange(driven_->hertz);
    SwitchOff(times.ramp);
  } else if (before && !drive->SameWave(*before)) {  // at zero or on its way there
    BeginChange(before->hertz);
    if (phase_ != Phase::kToZero) Enter(Phase::kToZero, 0);
  } else if (phase_ == Phase::kRest) {
    Enter(Phase::kAwaitNulled, kLongestWait);
  }
}

// Nothing that was heard before is about what comes now.
void DriveSequence::BeginChange(float hertz_before) {
  passes_zero_ = true;
  nulled_ = false;
  step_ = step_ || (wanted_->sweeps && wanted_->hertz != hertz_before);
}

void DriveSequence::Rest(double seconds) {
  passes_zero_ = false;
  step_ = false;
  if (driven_) {
    SwitchOff(seconds);
  } else if (phase_ != Phase::kToZero) {
    phase_ = Phase::kRest;
  }
}

void DriveSequence::Cut() {
  wanted_.reset();
  Rest(0);
}

void DriveSequence::Follow() {
  while (Step()) {
  }
}

bool DriveSequence::Step() {
  const bool over = clock_.Monotonic() >= due_;
  switch (phase_) {
    case Phase::kRest:
      return false;
    case Phase::kToZero:
      return over && LeaveZero();
    case Phase::kAtZero:  // the message is on its way since the last look
      if (!over) return false;
      passes_zero_ = false;
      Enter(Phase::kAwaitNulled, kLongestWait);
      return true;
    case Phase::kAwaitNulled:
      if (times.waits && !nulled_ && !over) return false;
      Enter(Phase::kEnabling, wanted_->external ? 0 : times.enable);
      return true;
    case Phase::kEnabling:
      if (over) Enable();
      return over;
    case Phase::kAwaitAgain:
      if (!nulled_ && !over) return false;
      Enter(Phase::kEnabled, times.settle);
      return true;
    case Phase::kEnabled:
    case Phase::kPrepared:
      if (over) SwitchOn();
      return over;
    case Phase::kRamping:
      if (!over) return false;
      links_.say_complete();
      phase_ = Phase::kRest;
      return false;
  }
  return false;
}

bool DriveSequence::LeaveZero() {
  if (!wanted_) {
    phase_ = Phase::kRest;
    return false;
  }
  if (std::exchange(step_, false)) SayAtZero();
  Enter(Phase::kAtZero, kOnItsWay);
  return false;
}

void DriveSequence::Enable() {
  SayEvent(kSourceEnabled);
  const bool slow = wanted_->sweeps && wanted_->hertz < static_cast<float>(times.slow_hertz);
  if (times.waits && slow) {
    nulled_ = false;
    Enter(Phase::kAwaitAgain, kLongestWait);
  } else {
    Enter(Phase::kEnabled, wanted_->external ? 0 : times.settle);
  }
}

void DriveSequence::SayEvent(int event) {
  auto message = IMSG::IntPubSubMsg::Make(IMSG::CHANEVENTMSG, 0);
  message.external_event = event;
  links_.say(message);
}

void DriveSequence::SayAtZero() {
  auto message = IMSG::IntPubSubMsg::Make(IMSG::DFRATZEROMSG, 0);
  message.freqfloat = wanted_->hertz;
  message.manualIrange = wanted_->current_range;
  message.manualVrange = wanted_->voltage_range;
  links_.say(message);
}

void DriveSequence::SwitchOn() {
  const Drive& drive = *wanted_;
  const double before = driven_ ? driven_->level : 0;
  const double seconds = drive.external ? 0 : times.ramp;
  if (!drive.external) {
    SourceSettings settings = source_.Get();
    settings.on = true;
    settings.kind = drive.kind;
    settings.hertz = drive.line_hertz;
    settings.amplitude = drive.direct ? 0 : drive.level;
    settings.dc = drive.direct ? std::copysign(drive.level, drive.negative ? -1.0 : 1.0) : 0;
    settings.degrees = drive.negative && !drive.direct ? kReversed : 0;
    settings.ramp = seconds > 0 ? std::max(before, drive.level) / seconds : 0;
    source_.Set(settings);
  }
  driven_ = drive;
  Enter(Phase::kRamping, seconds / speed_);
}

void DriveSequence::SwitchOff(double seconds) {
  if (!driven_->external) {
    SourceSettings settings = source_.Get();
    settings.on = false;
    settings.ramp = seconds > 0 ? driven_->level / seconds : 0;
    source_.Set(settings);
    Enter(Phase::kToZero, seconds / speed_);
    due_ += kRampMargin;
  } else {
    Enter(Phase::kToZero, 0);
  }
  driven_.reset();
}

}  // namespace simulator

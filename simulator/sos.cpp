#include "simulator/sos.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "common/msg/records/hmp_opcodes.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr double kDefaultRampSeconds = 0.25;
constexpr double kMostRampSeconds = 60;
/// For the pair at which a change takes effect: samples are made a few milliseconds apart.
constexpr platform::Nanoseconds kRampMargin = std::chrono::milliseconds(10);
/// A host that says nothing for so long is taken for dead.
constexpr platform::Nanoseconds kLongestSilence = std::chrono::seconds(8);
constexpr int kKindMask = 0xF;  // of a source word
constexpr float kLeastHertzTimes10000 = 1;
constexpr float kMostHertz = 1000;
constexpr double kReversed = 180;  // degrees
constexpr const char* kStates[] = {"idle", "set up", "ready", "running", "paused"};

struct SourceKind {
  Msg::SOURCE_E kind;
  bool voltage;
  bool direct;
};
/// Those of the instrument itself.
constexpr SourceKind kSourceKinds[] = {{Msg::internalHVVoltageSourceE, true, false},
                                       {Msg::internalLVVoltageSourceE, true, false},
                                       {Msg::internalDCLVVoltageSourceE, true, true},
                                       {Msg::internalDCCurrentSourceE, false, true},
                                       {Msg::internalACCurrentSourceE, false, false}};

const SourceKind* FindKind(int source_word) {
  for (const SourceKind& kind : kSourceKinds) {
    if (kind.kind == (source_word & kKindMask)) return &kind;
  }
  return nullptr;
}

// As the measurement daemon compares, in single precision.
bool IsTestFrequency(float hertz) {
  return hertz * 10000 >= kLeastHertzTimes10000 && hertz <= kMostHertz;
}

/// Tests whose frequency is not what their updates say.
bool NamesNoFrequency(int test_type, bool voltage) {
  return test_type == Msg::TEST_LINE_SYNC_REVERSAL || (!voltage && test_type == Msg::TEST_OLTC_DRM);
}

/// The records that the measurement daemon takes for a sign of the host's life.
constexpr std::int16_t kSignsOfLife[] = {
    Msg::HMP_INI_TEST_PARAM,   Msg::HMP_UPD_TEST_PARAM,   Msg::HMP_START_TEST,
    Msg::HMP_TEST_RSLT,        Msg::HMP_TEST_RLY,         Msg::HMP_PAUSE_TEST,
    Msg::HMP_INI_TEST_PARAM_I, Msg::HMP_UPD_TEST_PARAM_I, Msg::HMP_ACK_PROGRESS};

platform::Nanoseconds Seconds(double seconds) {
  return std::chrono::ceil<platform::Nanoseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

bool Sos::Drive::SameWave(const Drive& other) const {
  return kind == other.kind && direct == other.direct && negative == other.negative &&
         hertz == other.hertz;
}

Sos::Sos(Setup setup, platform::Clock& clock, SignalSource& source, Units& units)
    : setup_(std::move(setup)),
      clock_(clock),
      source_(source),
      faults_({Fault::kOff}, setup_.seed),
      ramp_seconds_(kDefaultRampSeconds) {
  units.AddFaults("sos", faults_);
  units.AddValue("sos.state", [this] {
    const platform::Lock lock(mutex_);
    return kStates[static_cast<std::size_t>(state_)];
  });
  units.AddValue("sos.target", [this] {
    const platform::Lock lock(mutex_);
    return std::to_string(drive_.level);
  });
  units.AddValue(
      "sos.ramp",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(ramp_seconds_);
      },
      [this](std::string_view text) {
        const auto seconds = ParseReal(text, 0, kMostRampSeconds);
        const platform::Lock lock(mutex_);
        ramp_seconds_ = seconds.value_or(ramp_seconds_);
        return seconds.has_value();
      });
}

// --- What the records say ---

void Sos::Hear(HostRecord record) {
  if (faults_.Chosen() == Fault::kOff) return;
  const platform::Lock lock(mutex_);
  const auto opcode = OpcodeOf(record);
  if (opcode && std::ranges::count(kSignsOfLife, *opcode) != 0) heard_at_ = clock_.Monotonic();
  HearRecord(record);
  Follow();
}

void Sos::HearRecord(HostRecord record) {
  switch (OpcodeOf(record).value_or(0)) {
    case Msg::HMP_INI_TEST_PARAM:
      if (const auto test = FieldsOf<Msg::HmpIniTestParamReq>(record)) {
        SetUp(test->voltsrc, test->voltmax, test->testype, true);
      }
      break;
    case Msg::HMP_INI_TEST_PARAM_I:
      if (const auto test = FieldsOf<Msg::HmpIniTestParamReqI>(record)) {
        SetUp(test->currentsrc, test->ampmax, test->testype, false);
      }
      break;
    case Msg::HMP_UPD_TEST_PARAM:
      if (const auto update = FieldsOf<Msg::HmpUpdTestParamReq>(record)) {
        TakeUpdate(update->polarity, update->frequency, update->volttarget, true);
      }
      break;
    case Msg::HMP_UPD_TEST_PARAM_I:
      if (const auto update = FieldsOf<Msg::HmpUpdTestParamReqI>(record)) {
        // 0 leaves the highest current of the set-up
        const int target = update->amp == 0 ? limit_ : int{update->amp};
        TakeUpdate(update->polarity, update->frequency, target, false);
      }
      break;
    case Msg::HMP_START_TEST:
      Start();
      break;
    case Msg::HMP_PAUSE_TEST:
      if (state_ == State::kRunning) End(State::kPaused);
      break;
    case Msg::HMP_STOP_TEST:
      End(State::kIdle);
      break;
    default:
      break;
  }
}

void Sos::SetUp(int source_word, int limit, int test_type, bool voltage) {
  const SourceKind* kind = FindKind(source_word);
  const bool own = kind != nullptr && kind->voltage == voltage;
  End(own ? State::kSetUp : State::kIdle);
  if (!own) return;
  voltage_ = voltage;
  limit_ = limit;
  names_frequency_ = !NamesNoFrequency(test_type, voltage);
  drive_ = {};
  drive_.kind = voltage ? SourceSettings::Kind::kVoltage : SourceSettings::Kind::kCurrent;
  drive_.direct = kind->direct;
}

void Sos::TakeUpdate(int polarity, float hertz, int target, bool voltage) {
  if (state_ == State::kIdle || state_ == State::kPaused || voltage != voltage_) return;
  if (polarity < 0 || polarity > 1 || target < 0) return;
  if (voltage && target > limit_) return;  // nobody holds a current to that of the set-up
  if (names_frequency_ && !IsTestFrequency(hertz)) return;
  drive_.negative = polarity == 1;
  drive_.hertz = hertz;
  drive_.level = target;
  if (state_ == State::kRunning) {
    wanted_ = drive_;
  } else {
    state_ = State::kReady;
  }
}

void Sos::Start() {
  if (state_ != State::kReady || !setup_.allok()) return;
  state_ = State::kRunning;
  wanted_ = drive_;
}

void Sos::End(State state) {
  state_ = state;
  wanted_.reset();
}

// --- The source ---

void Sos::Update() {
  const platform::Lock lock(mutex_);
  const bool dead =
      faults_.Chosen() == Fault::kOff || (state_ == State::kRunning && !setup_.allok());
  if (dead) {
    End(State::kIdle);
    if (driven_) SwitchOff(0);
  }
  if (clock_.Monotonic() - heard_at_ > kLongestSilence) End(State::kIdle);
  Follow();
}

void Sos::Follow() {
  if (driven_ == wanted_) return;
  if (driven_ && !(wanted_ && wanted_->SameWave(*driven_))) SwitchOff(ramp_seconds_);
  if (wanted_ && clock_.Monotonic() >= quiet_at_) SwitchOn(*wanted_);
}

void Sos::SwitchOn(const Drive& drive) {
  const double before = driven_ ? driven_->level : 0;
  SourceSettings settings = source_.Get();
  settings.on = true;
  settings.kind = drive.kind;
  settings.hertz.reset();
  settings.amplitude = drive.direct ? 0 : drive.level;
  settings.dc = drive.direct ? std::copysign(drive.level, drive.negative ? -1.0 : 1.0) : 0;
  settings.degrees = drive.negative && !drive.direct ? kReversed : 0;
  settings.ramp = ramp_seconds_ > 0 ? std::max(before, drive.level) / ramp_seconds_ : 0;
  source_.Set(settings);
  driven_ = drive;
}

void Sos::SwitchOff(double seconds) {
  SourceSettings settings = source_.Get();
  settings.on = false;
  settings.ramp = seconds > 0 ? driven_->level / seconds : 0;
  source_.Set(settings);
  quiet_at_ = clock_.Monotonic() + Seconds(seconds / setup_.speed) + kRampMargin;
  driven_.reset();
}

}  // namespace simulator

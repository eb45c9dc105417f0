#include "simulator/sos.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "common/msg/records/hmp_opcodes.h"
#include "simulator/fpga/line_estimator.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr double kMostSeconds = 60;  // of a step
/// A host that says nothing for so long is taken for dead.
constexpr platform::Nanoseconds kLongestSilence = std::chrono::seconds(8);
constexpr int kKindMask = 0xF;  // of a source word
constexpr float kLeastHertzTimes10000 = 1;
constexpr float kMostHertz = 1000;
constexpr platform::Nanoseconds kLineEvery = std::chrono::milliseconds(200);
constexpr unsigned kLineCycles = 32;  // over which the line's frequency is estimated
constexpr const char* kStates[] = {"idle", "set up", "ready", "running", "paused"};

struct SourceKind {
  Msg::SOURCE_E kind;
  bool voltage;
  bool direct;
  bool external;
};
constexpr SourceKind kSourceKinds[] = {{Msg::internalHVVoltageSourceE, true, false, false},
                                       {Msg::internalLVVoltageSourceE, true, false, false},
                                       {Msg::internalDCLVVoltageSourceE, true, true, false},
                                       {Msg::internalDCCurrentSourceE, false, true, false},
                                       {Msg::internalACCurrentSourceE, false, false, false},
                                       {Msg::externalVoltageSourceE, true, false, true},
                                       {Msg::externalCurrentSourceE, false, false, true}};

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

/// Tests that step through frequencies.
bool Sweeps(int test_type) {
  return test_type == Msg::TEST_FREQUENCY_SWEEP_DFR || test_type == Msg::TEST_DFR_INTERFERENCE;
}

/// As the FPGA's estimator finds it: a number of its clocks over a number of cycles, exactly.
m3x64_num LineNumber(double hertz) {
  if (!(hertz > 0)) return {};
  constexpr auto kClocks =
      static_cast<std::uint64_t>(kLineCycles * fpga::LineEstimator::kClockHertz);
  const auto count = static_cast<std::uint64_t>(std::llround(static_cast<double>(kClocks) / hertz));
  return {kClocks / count, kClocks % count, count};
}

}  // namespace

Sos::Sos(Setup setup, platform::Clock& clock, SignalSource& source, Units& units)
    : setup_(std::move(setup)),
      clock_(clock),
      faults_({Fault::kOff}, setup_.seed),
      sequence_({[this](const IMSG::IntPubSubMsg& message) { setup_.links.say(message); },
                 [this] { setup_.links.say_complete(); }},
                clock, source, setup_.speed) {
  units.AddFaults("sos", faults_);
  units.AddValue("sos.state", [this] {
    const platform::Lock lock(mutex_);
    return kStates[static_cast<std::size_t>(state_)];
  });
  units.AddValue("sos.target", [this] {
    const platform::Lock lock(mutex_);
    return std::to_string(drive_.level);
  });
  AddTimes(units);
}

void Sos::AddTimes(Units& units) {
  using Times = DriveSequence::Times;
  AddNumber(units, "sos.ramp", &Times::ramp, kMostSeconds);
  AddNumber(units, "sos.enable", &Times::enable, kMostSeconds);
  AddNumber(units, "sos.settle", &Times::settle, kMostSeconds);
  AddNumber(units, "sos.slow", &Times::slow_hertz, double{kMostHertz});
  units.AddValue(
      "sos.waits",
      [this] {
        const platform::Lock lock(mutex_);
        return sequence_.times.waits ? "on" : "off";
      },
      [this](std::string_view text) {
        const platform::Lock lock(mutex_);
        if (text == "on" || text == "off") sequence_.times.waits = text == "on";
        return text == "on" || text == "off";
      });
}

void Sos::AddNumber(Units& units, const char* name, double DriveSequence::Times::*field,
                    double most) {
  units.AddValue(
      name,
      [this, field] {
        const platform::Lock lock(mutex_);
        return std::to_string(sequence_.times.*field);
      },
      [this, field, most](std::string_view text) {
        const auto number = ParseReal(text, 0, most);
        const platform::Lock lock(mutex_);
        sequence_.times.*field = number.value_or(sequence_.times.*field);
        return number.has_value();
      });
}

// --- What the records say ---

void Sos::Hear(HostRecord record) {
  if (faults_.Chosen() == Fault::kOff) return;
  const platform::Lock lock(mutex_);
  const auto opcode = OpcodeOf(record);
  if (opcode && std::ranges::count(kSignsOfLife, *opcode) != 0) heard_at_ = clock_.Monotonic();
  HearRecord(record);
  sequence_.Follow();
}

bool Sos::MayPass() {
  const platform::Lock lock(mutex_);
  return sequence_.MayPass();
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
        TakeUpdate(update->polarity, update->volttarget, true,
                   {.hertz = update->frequency,
                    .current_range = update->curange,
                    .voltage_range = update->voltscal});
      }
      break;
    case Msg::HMP_UPD_TEST_PARAM_I:
      if (const auto update = FieldsOf<Msg::HmpUpdTestParamReqI>(record)) {
        // 0 leaves the highest current of the set-up
        const int target = update->amp == 0 ? limit_ : int{update->amp};
        TakeUpdate(update->polarity, target, false,
                   {.hertz = update->frequency,
                    .current_range = update->ampscal,
                    .voltage_range = update->voltrange});
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
  const bool known = kind != nullptr && kind->voltage == voltage;
  End(known ? State::kSetUp : State::kIdle);
  sequence_.Forget();
  if (!known) return;
  voltage_ = voltage;
  limit_ = limit;
  names_frequency_ = !NamesNoFrequency(test_type, voltage);
  follows_line_ = test_type == Msg::TEST_LINE_SYNC_REVERSAL;
  drive_ = {};
  drive_.kind = voltage ? SourceSettings::Kind::kVoltage : SourceSettings::Kind::kCurrent;
  drive_.direct = kind->direct;
  drive_.external = kind->external;
  drive_.sweeps = Sweeps(test_type);
  if (follows_line_) SayLineFrequency();
}

void Sos::TakeUpdate(int polarity, int target, bool voltage, const Drive& wish) {
  if (state_ == State::kIdle || state_ == State::kPaused || voltage != voltage_) return;
  if (polarity < 0 || polarity > 1 || target < 0) return;
  if (voltage && target > limit_) return;  // nobody holds a current to that of the set-up
  if (names_frequency_ && !IsTestFrequency(wish.hertz)) return;
  drive_.negative = polarity == 1;
  drive_.hertz = names_frequency_ ? wish.hertz : 0;
  drive_.current_range = wish.current_range;
  drive_.voltage_range = wish.voltage_range;
  drive_.level = target;
  if (follows_line_) drive_.line_hertz = setup_.line_hertz();
  if (state_ == State::kRunning) {
    sequence_.Want(drive_);
  } else {
    state_ = State::kReady;
  }
}

void Sos::Start() {
  if (state_ != State::kReady || !setup_.allok() || setup_.stopped()) return;
  state_ = State::kRunning;
  sequence_.Want(drive_);
}

void Sos::End(State state) {
  state_ = state;
  sequence_.Want(std::nullopt);
}

// --- What the other programs say, and what it says ---

void Sos::HearMessage(const IMSG::IntPubSubMsg& message) {
  if (faults_.Chosen() == Fault::kOff) return;
  const platform::Lock lock(mutex_);
  switch (message.msgtype) {
    case IMSG::EARLYDCDONEMSG:
      sequence_.HearNulled();
      break;
    case IMSG::FPESTOPMSG:
      StopAtOnce(IMSG::SOSESTOPMSG);
      break;
    case IMSG::SOSSSWITCHMSG:
      StopAtOnce(IMSG::SOSACKSSWITCHMSG);
      break;
    case IMSG::SOURCESTATUSENQUIRYMSG: {
      auto answer = IMSG::IntPubSubMsg::Make(IMSG::SOURCESTATUSINFOMSG, 0);
      answer.sourcestatus = sequence_.IsOn() ? 1 : 0;
      setup_.links.say(answer);
      break;
    }
    case IMSG::GETSERVERSTATUSMSG: {
      auto answer = IMSG::IntPubSubMsg::Make(IMSG::SENTSERVERSTATUSMSG, 0);
      answer.serverstatus = 1;
      setup_.links.say(answer);
      break;
    }
    default:
      break;
  }
}

void Sos::StopAtOnce(IMSG::MessageId answer) {
  state_ = State::kIdle;
  sequence_.Cut();
  setup_.links.say(IMSG::IntPubSubMsg::Make(answer, 0));
}

void Sos::SayLineFrequency() {
  auto message = IMSG::IntPubSubMsg::Make(IMSG::LINEFREQMSG, 0);
  message.SetFrequency(LineNumber(setup_.line_hertz()));
  setup_.links.say(message);
  line_said_at_ = clock_.Monotonic();
}

void Sos::Update() {
  const platform::Lock lock(mutex_);
  const bool off = faults_.Chosen() == Fault::kOff;
  if (off || (state_ == State::kRunning && !setup_.allok())) {
    state_ = State::kIdle;
    sequence_.Cut();
  }
  const auto now = clock_.Monotonic();
  if (now - heard_at_ > kLongestSilence && state_ != State::kIdle) End(State::kIdle);
  const bool awaits = follows_line_ && (state_ == State::kSetUp || state_ == State::kReady);
  if (awaits && now - line_said_at_ >= kLineEvery) SayLineFrequency();
  sequence_.Follow();
}

}  // namespace simulator

#include "host/measurement_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/report.h"
#include "host/request.h"
#include "platform/backend.h"

namespace host {
namespace {

using std::chrono::seconds;

// Of a result; a discharge under way spoils none.
constexpr int kNotValid = Ranging | Ramping | Amplitude_exceeds_input_range | Data_Not_Valid |
                          SAMPLE_STATUS_SYNC_ERROR | SAMPLE_STATUS_OVER_RANGE | SAMPLE_STATUS_FAULT;
constexpr double kVoltsPerKilovolt = 1000;
// Shares of the target that a source gives which works; one outside is set by hand.
constexpr double kLeastShare = 0.5;
constexpr double kLeastExternal = 0.01;
constexpr double kCyclesToRead = 3;
constexpr double kLongestCycle = 1e5;  // seconds; keeps a frequency near 0 within a Duration
// The daemon takes a host that is silent for 8 s for dead.
constexpr Duration kLongestSilence = seconds(1);

}  // namespace

MeasurementTiming MeasurementTiming::For(float frequency) const {
  const double cycle = frequency > 0 ? std::min(1 / double{frequency}, kLongestCycle) : 0;
  const auto cycles =
      std::chrono::duration_cast<Duration>(std::chrono::duration<double>(kCyclesToRead * cycle));
  MeasurementTiming timing = *this;
  timing.settle = std::max(settle, cycles);
  timing.patience = std::max(patience, 2 * timing.settle);
  timing.interval = std::max(interval, cycles);
  return timing;
}

nlohmann::ordered_json MeasurementFailure::Json() const {
  nlohmann::ordered_json json = {{"step", step}};
  if (status == ExitStatus::kNak) {
    json.update(ReplyJson(nak));
  } else {
    json["error"] = reason;
  }
  return json;
}

MeasurementRun::MeasurementRun(Session& session, Interrupted interrupted, Watcher watcher,
                               Reader reader)
    : session_(session),
      interrupted_(std::move(interrupted)),
      watcher_(std::move(watcher)),
      reader_(std::move(reader)),
      clock_(platform::Machine().Clock()) {}

MeasurementRun::~MeasurementRun() {
  Stop();
  EndRow();
}

// The first failure is the one that is reported: what follows it is often its consequence.
bool MeasurementRun::Fail(ExitStatus status, const char* step, std::string reason) {
  if (failure_.status == ExitStatus::kOk) failure_ = {status, step, std::move(reason), {}};
  return false;
}

bool MeasurementRun::Step(const char* step, const Bytes& request, Reply& reply) {
  if (failure_.status != ExitStatus::kOk) return false;
  std::string reason;
  const ExitStatus status = session_.TryAsk(request, reply, reason);
  if (status == ExitStatus::kOk) return true;
  const bool nak = status == ExitStatus::kNak;
  if (nak) {
    reason = NakText(reply);
    reason.pop_back();  // the end of its last line
  }
  Fail(status, step, std::move(reason));
  if (nak) failure_.nak = reply;
  return false;
}

bool MeasurementRun::Step(const char* step, const Bytes& request) {
  Reply reply;
  return Step(step, request, reply);
}

// Sent whatever has failed before, and that failure stays the first; but who interrupts a test has
// to know that it could not be stopped.
bool MeasurementRun::Finish(const char* step, const Bytes& request) {
  if (silent_) return false;
  MeasurementFailure before = std::exchange(failure_, {});
  const bool good = Step(step, request);
  silent_ = failure_.status == ExitStatus::kNoAnswer;
  const bool tell_this =
      before.status == ExitStatus::kOk || (before.status == ExitStatus::kInterrupted && !good);
  if (!tell_this) {
    if (!good) later_.push_back(std::move(failure_));
    failure_ = std::move(before);
  }
  return good;
}

bool MeasurementRun::BeginRow() {
  Msg::HmpStartRowReq record{};
  record.nteststart = 1;
  record.nphases = 1;
  in_row_ = failure_.status == ExitStatus::kOk;
  if (Step("start of row", RequestOf(Msg::HMP_START_ROW, record))) return true;
  if (failure_.status == ExitStatus::kOtherHost) in_row_ = false;  // the row is not ours
  return false;
}

bool MeasurementRun::SetUp(const MeasurementPlan& plan) {
  if (!Going("set-up")) return false;
  in_test_ = true;
  return Step("set-up", SetUpRequest(plan)) &&
         Step(plan.relays ? "relays" : "leads", PathRequest(plan));
}

bool MeasurementRun::Update(const MeasurementPlan& plan) {
  context_ = {plan.dc, plan.current, plan.target, plan.voltage_range, plan.current_range};
  return Going("update") && Step("update", UpdateRequest(plan));
}

bool MeasurementRun::Start() {
  return Going("start") && Step("start", PlainRequest(Msg::HMP_START_TEST));
}

bool MeasurementRun::Progress(int& status) {
  Reply reply;
  if (!Step("progress", PlainRequest(Msg::HMP_ACK_PROGRESS), reply)) return false;
  status = ProgressOf(reply);
  return true;
}

bool MeasurementRun::Going(const char* step) {
  if (failure_.status != ExitStatus::kOk) return false;
  return !interrupted_ || !interrupted_() ||
         Fail(ExitStatus::kInterrupted, step, "interrupted; the test was stopped");
}

bool MeasurementRun::Look(const MeasurementTiming& timing, bool& exceeds) {
  const Duration begin = clock_.Monotonic();
  Duration clear_since = begin;
  Duration fitting_since = begin;
  exceeds = false;
  for (int status = 0; Going("settling") && Progress(status);) {
    const Duration now = clock_.Monotonic();
    if (status != 0) clear_since = now;
    if ((status & Amplitude_exceeds_input_range) == 0) fitting_since = now;
    const Duration clear = now - clear_since;
    if (watcher_) {
      watcher_(status, std::min(1.0, std::chrono::duration<double>(clear) / timing.settle));
    }
    if (clear >= timing.settle) return true;
    // ranging may be under way, and gets longer
    const int patience = (status & Ranging) == 0 ? 1 : 2;
    exceeds = now - fitting_since >= patience * timing.settle;
    if (exceeds) return true;
    if (now - begin >= timing.patience) {
      return Fail(ExitStatus::kUnsettled, "settling",
                  "the data did not become valid in time: " + StatusText(status));
    }
    clock_.SleepFor(std::min(timing.interval, kLongestSilence));
  }
  return false;
}

bool MeasurementRun::Settle(const MeasurementTiming& timing) {
  bool exceeds = false;
  if (!Look(timing, exceeds)) return false;
  return !exceeds || Fail(ExitStatus::kUnsettled, "settling",
                          "the signal exceeds the range; a less sensitive one has a lower number");
}

bool MeasurementRun::Wait(Duration duration) {
  const Duration end = clock_.Monotonic() + duration;
  int status = 0;
  for (Duration now; (now = clock_.Monotonic()) < end;) {
    clock_.SleepFor(std::min(end - now, kLongestSilence));
    if (!Going("result")) return false;
    if (duration <= kLongestSilence) continue;
    if (!Progress(status)) return false;
    if (watcher_) watcher_(status, 1);
  }
  return true;
}

bool MeasurementRun::Poll(Msg::msg6_rsltype filter, MeasurementResult& result) {
  Reply reply;
  if (!Step("result", ResultRequest(filter), reply)) return false;
  result = ResultOf(reply, context_);
  if (reader_) reader_(result);
  return true;
}

// A change of the filter from one poll to the next makes the slow one start again, so that nothing
// from before the test had settled is in what it sums. Those polls themselves show what was before.
bool MeasurementRun::Read(const MeasurementTiming& timing,
                          std::vector<MeasurementResult>& results) {
  MeasurementResult result;
  if (!Poll(Msg::MSG6_RSLTYPE_FIR_FAST, result) || !Poll(Msg::MSG6_RSLTYPE_FIR_SLOW, result)) {
    return false;
  }
  Duration valid_since = clock_.Monotonic();
  for (int left = timing.polls; left > 0;) {
    if (!Wait(timing.interval) || !Poll(Msg::MSG6_RSLTYPE_FIR_SLOW, result)) return false;
    if ((StatusOf(result) & kNotValid) == 0) {
      results.push_back(result);
      valid_since = clock_.Monotonic();
      --left;
    } else if (clock_.Monotonic() - valid_since >= timing.settle) {
      // a daemon that was restarted has lost the test, too
      return Fail(ExitStatus::kUnsettled, "result",
                  "the data did not stay valid: " + StatusText(StatusOf(result)));
    }
  }
  return true;
}

bool MeasurementRun::CheckSource(const MeasurementPlan& plan, const MeasurementResult& result) {
  const Msg::SOURCE_E source = SourceKind(plan.source);
  const bool external =
      source == Msg::externalVoltageSourceE || source == Msg::externalCurrentSourceE;
  const double driven = plan.current ? double{result.record.acamps}
                                     : kVoltsPerKilovolt * double{result.record.acfcvolt};
  if (std::abs(driven) >= plan.target * (external ? kLeastExternal : kLeastShare)) return true;
  return Fail(
      ExitStatus::kNoSource, "source",
      fmt::format("the source gave {:.4g} of {} {}{}", std::abs(driven), plan.target,
                  plan.current ? "A" : "V",
                  external ? "" : "; it hears only what passes the host's port (--via host)"));
}

bool MeasurementRun::Stop() {
  return std::exchange(in_test_, false) && Finish("stop", PlainRequest(Msg::HMP_STOP_TEST));
}

bool MeasurementRun::EndRow() {
  return std::exchange(in_row_, false) && Finish("end of row", PlainRequest(Msg::HMP_END_ROW));
}

std::optional<MeasurementResult> MeasurementRun::Measure(const MeasurementPlan& plan,
                                                         const MeasurementTiming& timing) {
  std::vector<MeasurementResult> results;
  const bool good = SetUp(plan) && Update(plan) && Start() && Settle(timing.For(plan.frequency)) &&
                    Read(timing.For(plan.frequency), results);
  const bool driven = good && CheckSource(plan, results.back());
  Stop();
  if (!driven) return std::nullopt;
  return results.back();
}

}  // namespace host

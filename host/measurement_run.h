// A test from set-up to stop, step by step, as a host runs it.
//
// A step that fails ends the test: later steps do nothing and return false, but Stop and EndRow are
// sent all the same, at the latest by the destructor. Threads: belongs to one thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/measurement_plan.h"
#include "host/measurement_result.h"
#include "host/session.h"

namespace platform {
class Clock;
}

namespace host {

using Duration = std::chrono::nanoseconds;

struct MeasurementTiming {
  /// How long the status has to stay clear before the first result.
  Duration settle = std::chrono::seconds(2);
  /// Longest wait for that.
  Duration patience = std::chrono::seconds(60);
  /// From one poll to the next.
  Duration interval = std::chrono::milliseconds(200);
  /// Results that are read; the last is the best, as the filter sums since its start.
  int polls = 5;

  /// The same with no time shorter than a few cycles of this frequency (Hz, above 0).
  MeasurementTiming For(float frequency) const;
};

/// Why a test ended early.
struct MeasurementFailure {
  ExitStatus status = ExitStatus::kOk;
  std::string step;    ///< what was under way: "set-up"
  std::string reason;  ///< in words; of a NAK all its errors
  Reply nak;           ///< of a NAK

  /// "step: reason"
  std::string Text() const { return step + ": " + reason; }
  /// `step` and "error", or the NAK's own fields.
  nlohmann::ordered_json Json() const;
};

class MeasurementRun {
 public:
  /// Called at each poll of the progress: the status word, and what share of the wait is done.
  using Watcher = std::function<void(int status, double done)>;
  /// True when the test is to end.
  using Interrupted = std::function<bool()>;
  /// Called with each result that is read.
  using Reader = std::function<void(const MeasurementResult&)>;

  /// Waits on the clock of platform::Machine().
  explicit MeasurementRun(Session& session, Interrupted interrupted = {}, Watcher watcher = {},
                          Reader reader = {});
  ~MeasurementRun();
  MeasurementRun(const MeasurementRun&) = delete;
  MeasurementRun& operator=(const MeasurementRun&) = delete;

  /// 0x36: tests follow, one after the other.
  bool BeginRow();
  /// 0x03 or 0x33, then 0x28 or 0x17.
  bool SetUp(const MeasurementPlan& plan);
  /// 0x04 or 0x34; again while the test runs for other values of the same plan.
  bool Update(const MeasurementPlan& plan);
  /// 0x05.
  bool Start();
  /// 0x46 until the status has been clear for `timing.settle`, or has said for as long that the
  /// signal exceeds its range: then `exceeds` is true.
  bool Look(const MeasurementTiming& timing, bool& exceeds);
  /// As Look; fails when the signal exceeds its range.
  bool Settle(const MeasurementTiming& timing);
  /// 0x06 until there are `timing.polls` valid results of a filter that starts again; fails when
  /// none has been valid for `timing.settle`.
  bool Read(const MeasurementTiming& timing, std::vector<MeasurementResult>& results);
  /// One 0x06.
  bool Poll(Msg::msg6_rsltype filter, MeasurementResult& result);
  /// 0x07.
  bool Stop();
  /// 0x37: with it the daemon drops the errors of the row.
  bool EndRow();

  /// False, and the test ends, when the source has not given half of what `plan` asks for, one
  /// outside a hundredth: such a result looks valid and means nothing.
  bool CheckSource(const MeasurementPlan& plan, const MeasurementResult& result);

  /// A whole test within a row: its last result, or nothing.
  std::optional<MeasurementResult> Measure(const MeasurementPlan& plan,
                                           const MeasurementTiming& timing);

  /// What ended the test.
  const MeasurementFailure& failure() const { return failure_; }
  /// What the stop and the end of row reported after that.
  const std::vector<MeasurementFailure>& later() const { return later_; }

 private:
  bool Fail(ExitStatus status, const char* step, std::string reason);
  bool Step(const char* step, const Bytes& request, Reply& reply);
  bool Step(const char* step, const Bytes& request);
  bool Finish(const char* step, const Bytes& request);
  bool Progress(int& status);
  bool Going(const char* step);
  bool Wait(Duration duration);

  Session& session_;
  Interrupted interrupted_;
  Watcher watcher_;
  Reader reader_;
  platform::Clock& clock_;
  MeasurementFailure failure_;
  std::vector<MeasurementFailure> later_;
  MeasurementContext context_;
  bool in_row_ = false;
  bool in_test_ = false;
  bool silent_ = false;  // the daemon does not answer even a stop
};

}  // namespace host

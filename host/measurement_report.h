// What measure and sweep have in common: the run at a person's terminal, and how it is reported.
#pragma once

#include <optional>

#include "host/interruption.h"
#include "host/live_stream.h"
#include "host/measurement_options.h"
#include "host/progress.h"
#include "host/result_text.h"

namespace host {

/// A run that Ctrl-C stops, or a reader of its output that closes the pipe, and that shows how far
/// it is; `q5host watch` sees what it reads.
class ConsoleRun {
 public:
  explicit ConsoleRun(Session& session);

  MeasurementRun& test() { return test_; }
  /// Ends the row and removes the progress.
  void End();
  /// Before something is printed: the progress would be in its way.
  void ClearProgress() { progress_.Clear(); }

 private:
  Interruption interruption_;  // outlives the run, which is stopped before Ctrl-C counts again
  LiveStream live_;
  Progress progress_;
  MeasurementRun test_;
};

/// Prints results in the form that was asked for, each as soon as it is there: in JSON the parts of
/// one document.
class ResultPrinter {
 public:
  /// `rows`: the most that will come; a single one gets a line for each quantity.
  ResultPrinter(Session& session, const MeasurementOptions& options, int rows);

  void Print(const MeasurementResult& result);
  /// Prints why the run ended early, if it did. The exit status of the run.
  ExitStatus End(const MeasurementRun& run);

 private:
  void PrintJson(const MeasurementResult& result);
  void PrintTableRow(const MeasurementResult& result);

  Session& session_;
  const MeasurementOptions& options_;
  const bool single_;
  int printed_ = 0;
  std::optional<ResultTable> table_;
};

}  // namespace host

// What measure and sweep have in common: the run at a person's terminal, and how it is told.
#pragma once

#include "host/interruption.h"
#include "host/progress.h"
#include "host/test_options.h"

namespace host {

/// A run that Ctrl-C stops, or a reader of its output that goes, and that shows how far it is.
class ConsoleRun {
 public:
  explicit ConsoleRun(Session& session);

  TestRun& test() { return test_; }
  /// Ends the row and takes the progress away.
  void End();

 private:
  Interruption interruption_;  // outlives the run, which is stopped before Ctrl-C counts again
  Progress progress_;
  TestRun test_;
};

/// Prints the results in the form that was asked for, a warning when the source gave less than half
/// of what it should, and why the run ended early if it did: one document in JSON. Returns the exit
/// status of the run.
ExitStatus TellResults(Session& session, const TestOptions& options,
                       const std::vector<TestResult>& results, const TestFailure& failure);

}  // namespace host

#include <memory>

#include "host/command.h"
#include "host/measurement_report.h"
#include "host/number_check.h"

namespace host {
namespace {

// Hz, far beyond what the daemon takes: it is the one to refuse a frequency that is too high.
constexpr double kHighest = 1e6;

constexpr int kMostRepeats = 1000000;

struct MeasureOptions : MeasurementOptions {
  int repeat = 1;
};

ExitStatus Measure(Session& session, const MeasureOptions& options) {
  std::string error;
  const auto plan = PlanOf(options, error);
  if (!plan) return session.Fail(ExitStatus::kUsage, error);

  ConsoleRun run(session);
  ResultPrinter printer(session, options, options.repeat);
  run.test().BeginRow();
  for (int i = 0; i < options.repeat; ++i) {
    const auto result = run.test().Measure(*plan, TimingOf(options));
    if (!result) break;
    run.ClearProgress();
    printer.Print(*result);
  }
  run.End();
  return printer.End(run.test());
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<MeasureOptions>();
  app.add_option("--frequency", options->frequency, "Test frequency")
      ->check(NumberFrom(0, kHighest, "Hz"))
      ->type_name("HZ")
      ->capture_default_str();
  DeclareTest(app, *options);
  app.add_option("--repeat", options->repeat, "Tests one after the other")
      ->check(WholeFrom(1, kMostRepeats))
      ->type_name("N")
      ->capture_default_str();
  app.footer(
      "Examples:\n"
      "  q5host --root /tmp/q5 measure --voltage 10000\n"
      "  q5host --root /tmp/q5 measure --type dfr --lv --voltage 10 --frequency 100 --json\n"
      "  q5host --root /tmp/q5 measure --type winding --dc --current 5 --csv --repeat 3");
  return [options](Session& session) { return Measure(session, *options); };
}

}  // namespace

const Command kMeasure{"measure", "run a test and print what it measures", Route::kHost, Declare};

}  // namespace host

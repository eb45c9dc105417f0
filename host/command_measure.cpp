#include <memory>

#include "host/command.h"
#include "host/number_check.h"
#include "host/test_report.h"

namespace host {
namespace {

// Hz, far beyond what the daemon takes: it is the one to refuse a frequency that is too high.
constexpr double kHighest = 1e6;

struct MeasureOptions : TestOptions {
  int repeat = 1;
};

ExitStatus Measure(Session& session, const MeasureOptions& options) {
  std::string error;
  const auto plan = PlanOf(options, error);
  if (!plan) return session.Fail(ExitStatus::kUsage, error);

  ConsoleRun run(session);
  std::vector<TestResult> results;
  run.test().BeginRow();
  for (int i = 0; i < options.repeat; ++i) {
    const auto result = run.test().Measure(*plan, TimingOf(options));
    if (!result) break;
    results.push_back(*result);
  }
  run.End();
  return TellResults(session, options, results, run.test().failure());
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<MeasureOptions>();
  app.add_option("--frequency", options->frequency, "Test frequency")
      ->check(NumberFrom(0, kHighest))
      ->type_name("HZ")
      ->capture_default_str();
  DeclareTest(app, *options);
  app.add_option("--repeat", options->repeat, "Tests one after the other")
      ->check(CLI::PositiveNumber.description(""))
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

const Command kMeasure{"measure", "run a test and print what it measures", Declare};

}  // namespace host

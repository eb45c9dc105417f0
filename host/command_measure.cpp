#include <memory>

#include "host/command.h"
#include "host/interruption.h"
#include "host/progress.h"
#include "host/test_kinds.h"
#include "host/test_options.h"

namespace host {
namespace {

struct MeasureOptions : TestOptions {
  int repeat = 1;
};

std::string Text(const std::vector<TestResult>& results) {
  if (results.size() == 1) return ResultText(results[0]);
  std::string text = TableHead(results[0]);
  for (const TestResult& result : results) text += TableRow(result);
  return text;
}

std::string Csv(const std::vector<TestResult>& results) {
  std::string text = CsvHead(results[0]);
  for (const TestResult& result : results) text += CsvRow(result);
  return text;
}

// One document, whether or not the test came to its end.
nlohmann::ordered_json Json(const MeasureOptions& options, const std::vector<TestResult>& results,
                            const TestFailure& failure) {
  nlohmann::ordered_json json = {{"test", FindTestKind(options.type)->name}};
  json["measurements"] = nlohmann::ordered_json::array();
  for (const TestResult& result : results) json["measurements"].push_back(ResultJson(result));
  if (failure.status != ExitStatus::kOk) json.update(failure.Json());
  return json;
}

ExitStatus Measure(Session& session, const MeasureOptions& options) {
  std::string error;
  const auto plan = PlanOf(options, error);
  if (!plan) return session.Fail(ExitStatus::kUsage, error);

  Interruption interruption;
  Progress progress(session);
  TestRun run(
      session, [&] { return interruption.Asked(); },
      [&](int status, double done) { progress.Show(status, done); });
  std::vector<TestResult> results;
  run.BeginRow();
  for (int i = 0; i < options.repeat; ++i) {
    const auto result = run.Measure(*plan, TimingOf(options));
    if (!result) break;
    results.push_back(*result);
  }
  run.EndRow();
  progress.Clear();

  const TestFailure& failure = run.failure();
  if (session.json() || !results.empty()) {
    session.Print(options.csv       ? Csv(results)
                  : results.empty() ? ""
                                    : Text(results),
                  Json(options, results, failure));
  }
  if (failure.status == ExitStatus::kOk || session.json()) return failure.status;
  return session.Fail(failure.status, failure.step + ": " + failure.reason);
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<MeasureOptions>();
  DeclareTest(app, *options);
  app.add_option("--frequency", options->frequency, "Test frequency")
      ->type_name("HZ")
      ->capture_default_str();
  app.add_option("--repeat", options->repeat, "Tests one after the other")
      ->check(CLI::PositiveNumber)
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

#include "host/test_report.h"

#include <fmt/format.h>

#include <cmath>

#include "host/result_text.h"
#include "host/test_kinds.h"

namespace host {
namespace {

constexpr double kVoltsPerKilovolt = 1000;

std::string Text(const std::vector<TestResult>& results) {
  if (results.size() == 1) return ResultText(results[0]);
  const ResultTable table(results);
  std::string text = table.Head();
  for (const TestResult& result : results) text += table.Row(result);
  return text;
}

std::string Csv(const std::vector<TestResult>& results) {
  std::string text = CsvHead(results[0]);
  for (const TestResult& result : results) text += CsvRow(result);
  return text;
}

nlohmann::ordered_json Json(const TestOptions& options, const std::vector<TestResult>& results,
                            const TestFailure& failure) {
  nlohmann::ordered_json json = {{"test", FindTestKind(options.type)->name}};
  json["measurements"] = nlohmann::ordered_json::array();
  for (const TestResult& result : results) json["measurements"].push_back(ResultJson(result));
  if (failure.status != ExitStatus::kOk) json.update(failure.Json());
  return json;
}

// A source that went off, or never came up, leaves results that look valid and mean nothing.
std::string WarningOf(const TestOptions& options, const std::vector<TestResult>& results) {
  if (options.external) return "";
  const double target = options.current.value_or(options.voltage.value_or(0));
  for (const TestResult& result : results) {
    const double driven = options.current ? double{result.record.acamps}
                                          : kVoltsPerKilovolt * double{result.record.acfcvolt};
    if (std::abs(driven) >= target / 2) continue;
    return fmt::format("the source did not give what was asked for: {:.4g} of {:g} {}", driven,
                       target, options.current ? "A" : "V");
  }
  return "";
}

}  // namespace

ConsoleRun::ConsoleRun(Session& session)
    : interruption_({SIGINT, SIGTERM, SIGHUP, SIGPIPE}),
      progress_(session),
      test_(
          session, [this] { return interruption_.Asked(); },
          [this](int status, double done) { progress_.Show(status, done); }) {}

void ConsoleRun::End() {
  test_.EndRow();
  progress_.Clear();
}

ExitStatus TellResults(Session& session, const TestOptions& options,
                       const std::vector<TestResult>& results, const TestFailure& failure) {
  const std::string warning = WarningOf(options, results);
  if (session.json()) {
    auto json = Json(options, results, failure);
    if (!warning.empty()) json["warning"] = warning;
    session.Print("", json);
    return failure.status;
  }
  if (!results.empty()) session.Print(options.csv ? Csv(results) : Text(results), {});
  if (!warning.empty()) session.err() << "q5host: " << warning << '\n';
  if (failure.status == ExitStatus::kOk) return failure.status;
  return session.Fail(failure.status, failure.step + ": " + failure.reason);
}

}  // namespace host

#include "host/measurement_report.h"

#include <fmt/format.h>

#include "host/measurement_kinds.h"

namespace host {

ConsoleRun::ConsoleRun(Session& session)
    : interruption_({SIGINT, SIGTERM, SIGHUP, SIGPIPE}),
      live_(session.root()),
      progress_(session),
      test_(
          session, [this] { return interruption_.Asked(); },
          [this](int status, double done) {
            progress_.Show(status, done);
            live_.Status(status);
          },
          [this](const MeasurementResult& result) { live_.Result(result); }) {
  if (live_.IsOpen() || session.root().empty()) return;
  session.err() << "q5host: no file for q5host watch in " << session.root() << "/tmp\n";
}

void ConsoleRun::End() {
  test_.EndRow();
  progress_.Clear();
}

ResultPrinter::ResultPrinter(Session& session, const MeasurementOptions& options, int rows)
    : session_(session), options_(options), single_(rows == 1) {}

void ResultPrinter::Print(const MeasurementResult& result) {
  std::ostream& out = session_.out();
  if (session_.json()) {
    PrintJson(result);
  } else if (options_.csv) {
    if (printed_ == 0) out << CsvHead(result);
    out << CsvRow(result);
  } else if (single_) {
    out << ResultText(result);
  } else {
    PrintTableRow(result);
  }
  out.flush();
  ++printed_;
}

// The units stay those of the first row.
void ResultPrinter::PrintTableRow(const MeasurementResult& result) {
  if (!table_) {
    table_.emplace(std::span(&result, 1));
    session_.out() << table_->Head();
  }
  session_.out() << table_->Row(result);
}

void ResultPrinter::PrintJson(const MeasurementResult& result) {
  if (printed_ == 0) {
    session_.out() << fmt::format("{{\n  \"test\": \"{}\",\n  \"measurements\": [",
                                  FindTestKind(options_.type)->name);
  }
  session_.out() << (printed_ == 0 ? "\n    " : ",\n    ") << ResultJson(result).dump();
}

ExitStatus ResultPrinter::End(const MeasurementRun& run) {
  const MeasurementFailure& failure = run.failure();
  if (!session_.json()) {
    if (failure.status != ExitStatus::kOk) session_.Fail(failure.status, failure.Text());
    for (const MeasurementFailure& later : run.later()) session_.Fail(later.status, later.Text());
    return failure.status;
  }
  nlohmann::ordered_json rest = nlohmann::ordered_json::object();
  if (failure.status != ExitStatus::kOk) rest.update(failure.Json());
  for (const MeasurementFailure& later : run.later()) rest["later"].push_back(later.Json());
  if (printed_ == 0) {
    nlohmann::ordered_json json = {{"test", FindTestKind(options_.type)->name},
                                   {"measurements", nlohmann::ordered_json::array()}};
    json.update(rest);
    session_.Print("", json);
    return failure.status;
  }
  session_.out() << "\n  ]";
  // the rest of the document: the object without its braces
  for (const auto& [key, value] : rest.items()) {
    session_.out() << fmt::format(",\n  \"{}\": {}", key, value.dump());
  }
  session_.out() << "\n}\n";
  return failure.status;
}

}  // namespace host

#include "host/command.h"
#include "host/report.h"
#include "host/request.h"

namespace host {
namespace {

struct Line {
  const char* label;
  const char* field;
};

constexpr Line kLines[] = {
    {"measurement module", "meas_version"},
    {"main module", "main_version"},
    {"source module", "src_version"},
    {"description", "desc"},
    {"quality", "quality"},
    {"serial number", "serialnum"},
};

ExitStatus Versions(Session& session) {
  Reply reply;
  ExitStatus status = session.AskForData(PlainRequest(Msg::HMP_CONF_VERS), reply);
  if (status != ExitStatus::kOk) return status;
  nlohmann::ordered_json json = ReplyJson(reply);
  std::string text;
  for (const Line& line : kLines) {
    text += fmt::format("{:<18}  {}\n", line.label, json.at(line.field).get<std::string>());
  }
  session.Print(text, json);
  return status;
}

}  // namespace

const Command kVersions{"versions", "print the firmware versions", Route::kBus,
                        [](CLI::App&) -> Action { return Versions; }};

}  // namespace host

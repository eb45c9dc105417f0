#include "host/command.h"
#include "host/measurement_result.h"
#include "host/report.h"
#include "host/request.h"

namespace host {
namespace {

ExitStatus Progress(Session& session) {
  Reply reply;
  ExitStatus status = session.AskForData(PlainRequest(Msg::HMP_ACK_PROGRESS), reply);
  if (status != ExitStatus::kOk) return status;
  const int flags = ProgressOf(reply);
  nlohmann::ordered_json json = ReplyJson(reply);
  json["status_names"] = StatusNames(flags);
  session.Print(fmt::format("channel status  0x{:04X}, {}\n", flags, StatusText(flags)), json);
  return status;
}

}  // namespace

const Command kProgress{"progress",
                        "poll the progress of the test once: the channels' status flags",
                        Route::kBus, [](CLI::App& app) -> Action {
                          app.footer(
                              "The daemon takes the poll (0x46) for a sign of life of the host "
                              "that runs the test;\nq5host watch sends nothing.");
                          return Progress;
                        }};

}  // namespace host

#include "host/command.h"
#include "host/report.h"
#include "host/request.h"
#include "host/test_result.h"

namespace host {
namespace {

ExitStatus Progress(Session& session) {
  Reply reply;
  ExitStatus status = session.AskForData(PlainRequest(Msg::HMP_ACK_PROGRESS), reply);
  if (status != ExitStatus::kOk) return status;
  nlohmann::ordered_json json = ReplyJson(reply);
  // only the first word carries flags
  int flags = json.at("status").at(0).get<int>() & 0xFFFF;
  session.Print(fmt::format("channel status  0x{:04X}, {}\n", flags, StatusText(flags)), json);
  return status;
}

}  // namespace

const Command kProgress{"progress", "poll the progress of the test: the channels' status flags",
                        [](CLI::App&) -> Action { return Progress; }};

}  // namespace host

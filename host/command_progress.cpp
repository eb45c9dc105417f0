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
  const int flags = ProgressOf(reply);
  session.Print(fmt::format("channel status  0x{:04X}, {}\n", flags, StatusText(flags)),
                ReplyJson(reply));
  return status;
}

}  // namespace

const Command kProgress{"progress", "poll the progress of the test: the channels' status flags",
                        [](CLI::App&) -> Action { return Progress; }};

}  // namespace host

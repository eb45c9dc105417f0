#include <signal.h>

#include <algorithm>

#include "host/command.h"
#include "host/live_stream.h"
#include "host/report.h"
#include "host/request.h"
#include "platform/backend.h"

namespace host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPatience{10};  // a measuring client may wait for an answer before it looks
constexpr milliseconds kNap{50};

// Until `done` is true; false at the end of the time.
template <class Condition>
bool Await(Condition done) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto end = clock.Monotonic() + kPatience;
  while (!done()) {
    if (clock.Monotonic() >= end) return false;
    clock.SleepFor(kNap);
  }
  return true;
}

// The main module takes one host, so a q5host that measures here ends first: it stops its test
// itself. False when one does not end.
bool EndClients(Session& session, std::vector<pid_t>& ended) {
  if (session.root().empty()) return true;
  const LiveFeed feed(session.root());
  ended = feed.Clients();
  for (const pid_t client : ended) ::kill(client, SIGTERM);
  return Await([&feed, &ended] {
    const auto left = feed.Clients();
    return std::ranges::none_of(
        ended, [&left](pid_t client) { return std::ranges::find(left, client) != left.end(); });
  });
}

// The main module needs a moment to see that a host has left.
ExitStatus AskInTurn(Session& session, const Bytes& request, Reply& reply, std::string& error) {
  ExitStatus status = ExitStatus::kOk;
  Await([&] {
    status = session.TryAsk(request, reply, error);
    return status != ExitStatus::kOtherHost;
  });
  return status;
}

ExitStatus Stop(Session& session) {
  std::vector<pid_t> ended;
  if (!EndClients(session, ended)) {
    return session.Fail(ExitStatus::kOtherHost, "a q5host that measures does not end");
  }
  struct {
    const char* step;
    Msg::HmpOpcode opcode;
  } const steps[] = {{"stop", Msg::HMP_STOP_TEST}, {"end of row", Msg::HMP_END_ROW}};
  ExitStatus worst = ExitStatus::kOk;
  std::string text;
  nlohmann::ordered_json json = {{"clients_ended", ended}};
  for (const auto& step : steps) {
    Reply reply;
    std::string error;
    const ExitStatus status = AskInTurn(session, PlainRequest(step.opcode), reply, error);
    if (!error.empty()) return session.Fail(status, fmt::format("{}: {}", step.step, error));
    if (status == ExitStatus::kNak) worst = status;
    text +=
        fmt::format("{}: {}", step.step, status == ExitStatus::kNak ? NakText(reply) : "done\n");
    json[step.step] = ReplyJson(reply);
  }
  session.Print(text, json);
  return worst;
}

}  // namespace

const Command kStop{
    "stop", "end whatever test runs", Route::kHost, [](CLI::App& app) -> Action {
      app.footer(
          "Sends 0x07 and 0x37. A q5host that measures on the same directory is ended first, as by "
          "Ctrl-C;\nwhile a host elsewhere is connected to the main module, the status is 8.\n"
          "The daemon ends the test even where it answers with a NAK; what that says is printed.");
      return Stop;
    }};

}  // namespace host

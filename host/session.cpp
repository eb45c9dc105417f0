#include "host/session.h"

#include "host/report.h"

namespace host {

ExitStatus Session::Ask(const Bytes& request, Reply& reply) {
  Exchange exchange = transport_.Ask(request);
  if (exchange.status != ExitStatus::kOk) return Fail(exchange.status, exchange.error);
  std::string error = ReadReply(request, std::move(exchange.reply), reply);
  if (!error.empty()) {
    return Fail(ExitStatus::kMalformed,
                fmt::format("malformed reply: {}\n{}", error, HexText(reply.bytes, 0)));
  }
  return reply.answer == Answer::kNak ? ExitStatus::kNak : ExitStatus::kOk;
}

ExitStatus Session::AskForData(const Bytes& request, Reply& reply) {
  ExitStatus status = Ask(request, reply);
  if (status == ExitStatus::kNak) Print(NakText(reply), ReplyJson(reply));
  return status;
}

void Session::Print(const std::string& text, const nlohmann::ordered_json& json) {
  out_ << (json_ ? json.dump(2) + '\n' : text);
}

ExitStatus Session::Fail(ExitStatus status, const std::string& reason) {
  if (json_) {
    out_ << nlohmann::ordered_json{{"error", reason}}.dump(2) << '\n';
  } else {
    err_ << "q5host: " << reason << '\n';
  }
  return status;
}

}  // namespace host

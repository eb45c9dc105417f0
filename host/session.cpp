#include "host/session.h"

#include "common/msg/records/major_codes.h"
#include "host/last_nak.h"
#include "host/report.h"

namespace host {
namespace {

// What a person typed may be in the text; it need not be UTF-8.
std::string JsonText(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

// The main module answers a second host so: it has no space for it.
bool IsOtherHost(const Reply& reply) {
  return reply.module == Msg::NAK_TOS_ERR && reply.errors.size() == 1 &&
         reply.errors[0].code == Msg::NAK_MCODE_NOSPACE;
}

}  // namespace

void TellFailure(bool json, const std::string& reason, std::ostream& out, std::ostream& err) {
  if (json) {
    out << JsonText({{"error", reason}});
  } else {
    err << "q5host: " << reason << '\n';
  }
}

void Session::Show(char direction, const Bytes& record) {
  if (trace_ && !record.empty()) err_ << direction << ' ' << HexText(record, 2) << '\n';
}

ExitStatus Session::TryAsk(const Bytes& request, Reply& reply, std::string& error) {
  Show('>', request);
  Exchange exchange = transport_.Ask(request);
  Show('<', exchange.reply);
  error = exchange.error;
  if (exchange.status != ExitStatus::kOk) return exchange.status;
  error = ReadReply(request, std::move(exchange.reply), reply);
  if (!error.empty()) {
    error = fmt::format("malformed reply: {}\n{}", error, HexText(reply.bytes, 0));
    return ExitStatus::kMalformed;
  }
  if (reply.answer != Answer::kNak) return ExitStatus::kOk;
  if (IsOtherHost(reply)) {
    error = "another host is connected; the main module takes one at a time";
    return ExitStatus::kOtherHost;
  }
  if (!root_.empty()) KeepNak(NakFile(root_), {request, reply.bytes});
  return ExitStatus::kNak;
}

ExitStatus Session::Ask(const Bytes& request, Reply& reply) {
  std::string error;
  ExitStatus status = TryAsk(request, reply, error);
  return error.empty() ? status : Fail(status, error);
}

ExitStatus Session::AskForData(const Bytes& request, Reply& reply) {
  ExitStatus status = Ask(request, reply);
  if (status == ExitStatus::kNak) Print(NakText(reply), ReplyJson(reply));
  return status;
}

void Session::Print(const std::string& text, const nlohmann::ordered_json& json) {
  out_ << (json_ ? JsonText(json) : text);
}

ExitStatus Session::Fail(ExitStatus status, const std::string& reason) {
  TellFailure(json_, reason, out_, err_);
  return status;
}

}  // namespace host

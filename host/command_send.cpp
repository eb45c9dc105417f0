#include <memory>

#include "host/command.h"
#include "host/report.h"
#include "host/request.h"

namespace host {
namespace {

struct SendOptions {
  std::vector<std::string> words;
  bool raw = false;
};

constexpr int kIndent = 9;

std::string RequestText(const Bytes& request) {
  std::string text = fmt::format("{:<{}}{}\n", "request", kIndent, HexText(request, kIndent));
  if (const Msg::Message* message = Msg::FindMessage(OpcodeOf(request))) {
    text += fmt::format("{:{}}{}: {}\n", "", kIndent, message->request->name, message->meaning);
  }
  return text;
}

std::string ReplyText(const Reply& reply) {
  std::string text = fmt::format("{:<{}}{}\n", "reply", kIndent, HexText(reply.bytes, kIndent));
  text += fmt::format("{:{}}{}{}\n", "", kIndent, AnswerText(reply.answer),
                      reply.layout != nullptr ? fmt::format(", {}", reply.layout->name) : "");
  if (reply.answer == Answer::kNak) text += NakText(reply);
  return text + FieldsText(reply);
}

ExitStatus Send(Session& session, const SendOptions& options) {
  std::string error;
  std::optional<Bytes> request = ParseHex(fmt::format("{}", fmt::join(options.words, " ")), error);
  if (request && !options.raw) request = WithChecksum(std::move(*request), error);
  if (request && request->empty()) error = "nothing to send";
  if (!request || request->empty()) return session.Fail(ExitStatus::kUsage, error);

  Reply reply;
  ExitStatus status = session.Ask(*request, reply);
  if (status != ExitStatus::kOk && status != ExitStatus::kNak) return status;
  session.Print(RequestText(*request) + ReplyText(reply), ReplyJson(reply));
  return status;
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<SendOptions>();
  app.add_option(
         "HEX", options->words,
         "The record in hexadecimal, blanks as you like: src, dst, opcode (2 bytes, low one "
         "first), len (2), payload. The checksum is added, or corrected.")
      ->required();
  app.add_flag("--raw", options->raw, "Send the bytes as they are, right or wrong");
  return [options](Session& session) { return Send(session, *options); };
}

}  // namespace

const Command kSend{"send", "send a record in hexadecimal and print the reply", Route::kHost,
                    Declare};

}  // namespace host

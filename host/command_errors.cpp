#include <memory>

#include "common/msg/records/error_words.h"
#include "host/command.h"
#include "host/last_nak.h"
#include "host/report.h"

namespace host {
namespace {

// Each word's code by name, with the number of data words that it announces.
ExitStatus NameWords(Session& session, const std::vector<int>& words) {
  std::string text;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const int word : words) {
    const auto value = static_cast<std::int16_t>(word);
    const int code = Msg::ErrorCodeOf(value);
    text += fmt::format("0x{:04X}  {}, {} data word{}\n", word & 0xFFFF, CodeText(code),
                        Msg::DataWordsOf(value), Msg::DataWordsOf(value) == 1 ? "" : "s");
    json.push_back({{"word", word},
                    {"code", code},
                    {"name", CodeName(code)},
                    {"data_words", Msg::DataWordsOf(value)}});
  }
  session.Print(text, json);
  return ExitStatus::kOk;
}

ExitStatus ShowLastNak(Session& session) {
  if (session.root().empty()) {
    return session.Fail(ExitStatus::kUsage, "the last NAK is kept in --root DIR; give it");
  }
  const auto refusal = LastNak(NakFile(session.root()));
  Reply reply;
  if (!refusal || !ReadReply(refusal->request, refusal->reply, reply).empty()) {
    session.Print("the daemon has refused nothing here yet\n", nlohmann::ordered_json());
    return ExitStatus::kOk;
  }
  session.Print(fmt::format("request  {}\n{}", HexText(refusal->request, 9), NakText(reply)),
                ReplyJson(reply));
  return ExitStatus::kOk;
}

Action Declare(CLI::App& app) {
  auto words = std::make_shared<std::vector<int>>();
  app.add_option("WORD", *words, "Error words to name instead, as numbers (0x11C0)")
      ->check(CLI::Range(-32768, 65535));
  return [words](Session& session) {
    return words->empty() ? ShowLastNak(session) : NameWords(session, *words);
  };
}

}  // namespace

const Command kErrors{"errors", "print the last NAK with the names of its errors (with --root)",
                      Route::kBus, Declare};

}  // namespace host

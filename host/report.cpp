#include "host/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "common/msg/records/major_codes.h"
#include "host/refusal.h"

namespace host {
namespace {

using nlohmann::ordered_json;

constexpr const char* kModuleNames[] = {"", "main module", "measurement module", "source module",
                                        "power board"};

// Parts of the frame are printed on their own, or not at all.
bool IsData(const Msg::Field& field) {
  std::string_view name = field.name;
  return name != "ack" && name != "chksm" && name != "RFU";
}

ordered_json NumberJson(const Msg::Field& field, const Bytes& bytes, int index) {
  double value = Msg::FieldNumber(field, bytes.data(), index);
  if (field.type == Msg::FieldType::kFloat32) return ordered_json(value);  // no number: null
  return ordered_json(static_cast<std::int64_t>(value));
}

ordered_json FieldJson(const Msg::Field& field, const Bytes& bytes) {
  if (field.type == Msg::FieldType::kText) return Msg::FieldString(field, bytes.data());
  if (field.count == 1) return NumberJson(field, bytes, 0);
  ordered_json list = ordered_json::array();
  for (int i = 0; i < field.count; ++i) list.push_back(NumberJson(field, bytes, i));
  return list;
}

// The list of a NAK is printed as errors instead.
bool HasFields(const Reply& reply) {
  return reply.layout != nullptr && reply.layout != &Msg::LayoutOf<Msg::HmpErrorRep>::kLayout;
}

}  // namespace

const char* AnswerText(Answer answer) {
  switch (answer) {
    case Answer::kAck:
      return "ACK";
    case Answer::kAckInProgress:
      return "ACK in progress";
    case Answer::kNak:
      return "NAK";
    case Answer::kDataSet:
      return "data set";
  }
  return "";
}

std::string CodeName(int code) {
  const char* name = Msg::MajorCodeName(code);
  return name == nullptr ? "unknown" : name;
}

std::string CodeText(int code) {
  return fmt::format("{} ({}, 0x{:03X})", CodeName(code), code, code & 0xFFFF);
}

std::string NakText(const Reply& reply) {
  std::string text = "refused";
  if (reply.module != Msg::NAK_MAJORCODE) {
    text += fmt::format(" by the {}", kModuleNames[reply.module]);
  }
  text += reply.errors.empty() ? ", no reason given\n" : ":\n";
  for (const ErrorWord& error : reply.errors) {
    text += "  " + CodeText(error.code);
    if (!error.data.empty()) text += fmt::format(" data {}", fmt::join(error.data, " "));
    text += '\n';
    if (const char* meaning = RefusalText(error.code)) text += fmt::format("    {}\n", meaning);
  }
  return text;
}

std::string FieldsText(const Reply& reply) {
  if (!HasFields(reply)) return "";
  std::size_t width = 0;
  for (const Msg::Field& field : reply.layout->fields) {
    if (IsData(field)) width = std::max(width, std::string_view(field.name).size());
  }
  std::string text;
  for (const Msg::Field& field : reply.layout->fields) {
    if (!IsData(field)) continue;
    text +=
        fmt::format("  {:<{}}  {}\n", field.name, width, Msg::FieldText(field, reply.bytes.data()));
  }
  return text;
}

ordered_json ReplyJson(const Reply& reply) {
  ordered_json json;
  json["answer"] = AnswerText(reply.answer);
  if (reply.answer != Answer::kDataSet) {
    json["opcode"] =
        static_cast<int>(reinterpret_cast<const Msg::HmpMsgHead*>(reply.bytes.data())->opcode);
  }
  if (reply.layout != nullptr) json["record"] = reply.layout->name;
  json["hex"] = HexText(reply.bytes);
  if (HasFields(reply)) {
    for (const Msg::Field& field : reply.layout->fields) {
      if (IsData(field)) json[field.name] = FieldJson(field, reply.bytes);
    }
  }
  if (reply.answer == Answer::kNak) {
    json["module"] = kModuleNames[reply.module];
    json["errors"] = ordered_json::array();
    for (const ErrorWord& error : reply.errors) {
      json["errors"].push_back(
          {{"code", error.code}, {"name", CodeName(error.code)}, {"data", error.data}});
      if (const char* meaning = RefusalText(error.code)) json["errors"].back()["meaning"] = meaning;
    }
  }
  return json;
}

}  // namespace host

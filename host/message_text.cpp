#include "host/message_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "common/msg/records/checksum.h"
#include "common/zpubsub/records/socket_plan.h"

namespace host {
namespace {

using IMSG::IntPubSubMsg;
using Json = nlohmann::ordered_json;
using Msg::Field;

constexpr int kDrivePort = 5556;  // of the source module, a text
constexpr Publisher kPublishers[] = {
    {"tos", "main", IMSG::kMainPort},
    {"mos", "meas", IMSG::kMeasPort},
    {"sos", "source", IMSG::kSourcePort},
    {"ethb", "main", IMSG::kBridgePort},
    {"watchdog of main", "main", IMSG::kMainWatchdogPort},
    {"watchdog of meas", "meas", IMSG::kMeasWatchdogPort},
    {"watchdog of source", "source", IMSG::kSourceWatchdogPort},
    {"drive of sos", "source", kDrivePort},
};

constexpr std::size_t kMostFields = 5;
struct Carried {
  int id;
  std::string_view fields[kMostFields];
};
constexpr Carried kCarried[] = {
    {IMSG::PFCBUSMSG, {"voltage"}},
    {IMSG::LINEFREQMSG, {"freq_m3x64"}},
    {IMSG::DFRATZEROMSG, {"freqfloat", "manualIrange", "manualVrange"}},
    {IMSG::CHANEVENTMSG, {"external_event"}},
    {IMSG::SETMESRLYMSG, {"relayMsg"}},
    {IMSG::SETSRCRLYMSG, {"relayMsg"}},
    {IMSG::RESETMESRLYMSG, {"relayMsg"}},
    {IMSG::RESETSRCRLYMSG, {"relayMsg"}},
    {IMSG::SOSACKMSG, {"relayAck"}},
    {IMSG::MOSACKMSG, {"relayAck"}},
    {IMSG::XMLPOSTMSG, {"xmlResult"}},
    {IMSG::LVSFILTERRELAYMSG, {"relay6state"}},
    {IMSG::SOSSSWITCHMSG, {"fpfault"}},
    {IMSG::TEMPERMSG, {"module", "assem", "i2cdevaddr", "sensor", "temper"}},
    {IMSG::SOURCESTATUSINFOMSG, {"sourcestatus"}},
    {IMSG::SENTSERVERSTATUSMSG, {"module", "serverstatus"}},
};

std::vector<const Field*> Layout(const IntPubSubMsg& message) {
  std::vector<const Field*> layout;
  for (const std::string_view name : FieldsOfMessage(message.msgtype)) {
    for (const Field& field : Msg::LayoutOf<IntPubSubMsg>::kLayout.fields) {
      if (field.name == name) layout.push_back(&field);
    }
  }
  return layout;
}

Json NumberJson(const Field& field, const IntPubSubMsg& message, int index) {
  if (field.type != Msg::FieldType::kUint64) {
    const double number = Msg::FieldNumber(field, &message, index);
    if (field.type == Msg::FieldType::kFloat32) return number;
    return static_cast<std::int64_t>(number);
  }
  std::uint64_t number = 0;
  std::memcpy(&number, message.freq_m3x64 + index, sizeof number);
  return number;
}

bool IsWhole(const IntPubSubMsg& message) {
  const auto bytes = message.Bytes();
  const auto sum = Msg::ByteSum(bytes.data(), bytes.size() - Msg::kChksmSize);
  return static_cast<std::uint16_t>(message.chksm) == sum;
}

std::string NameOf(int id) {
  const bool known = id >= IMSG::kFirstMessage && id <= IMSG::kLastMessage;
  return known ? IMSG::GetMsgStr(id) : fmt::format("{}({})", IMSG::GetMsgStr(id), id);
}

}  // namespace

std::span<const Publisher> Publishers() { return kPublishers; }

std::span<const std::string_view> FieldsOfMessage(int id) {
  const auto* found = std::ranges::find(kCarried, id, &Carried::id);
  if (found == std::end(kCarried)) return {};
  const auto* end = std::ranges::find(found->fields, std::string_view());
  return {std::begin(found->fields), end};
}

std::string MessageText(const IntPubSubMsg& message) {
  std::string text = NameOf(message.msgtype);
  for (const Field* field : Layout(message)) {
    text += fmt::format(" {}={}", field->name, Msg::FieldText(*field, &message));
  }
  return IsWhole(message) ? text : text + " (wrong checksum)";
}

Json MessageJson(const IntPubSubMsg& message) {
  Json json = {{"message", NameOf(message.msgtype)},
               {"id", std::int32_t{message.msgtype}},
               {"checksum", IsWhole(message)}};
  for (const Field* field : Layout(message)) {
    Json& value = json[field->name];
    if (field->count == 1) {
      value = NumberJson(*field, message, 0);
      continue;
    }
    for (int i = 0; i < field->count; ++i) value.push_back(NumberJson(*field, message, i));
  }
  return json;
}

}  // namespace host

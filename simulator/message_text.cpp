#include "simulator/message_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace simulator {
namespace {

using IMSG::IntPubSubMsg;
using Msg::Field;
using Msg::FieldType;

constexpr const Msg::Layout& kLayout = Msg::LayoutOf<IntPubSubMsg>::kLayout;
constexpr std::string_view kChecksum = "chksm";

/// Takes the text up to `mark` off the front.
std::string_view TakeTo(char mark, std::string_view& text) {
  const std::size_t end = std::min(text.find(mark), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

template <class Number>
bool Store(std::string_view text, char* to) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return false;
  std::memcpy(to, &number, sizeof number);
  return true;
}

bool StoreElement(FieldType type, std::string_view text, char* to) {
  switch (type) {
    case FieldType::kUint8:
      return Store<std::uint8_t>(text, to);
    case FieldType::kInt16:
      return Store<std::int16_t>(text, to);
    case FieldType::kInt32:
      return Store<std::int32_t>(text, to);
    case FieldType::kUint64:
      return Store<std::uint64_t>(text, to);
    case FieldType::kFloat32:
      return Store<float>(text, to);
    default:
      return false;  // this record has no others
  }
}

bool StoreField(const Field& field, std::string_view values, IntPubSubMsg& message) {
  char* to = reinterpret_cast<char*>(&message) + field.offset;
  for (int i = 0; i < field.count; ++i, to += field.size) {
    if (!StoreElement(field.type, TakeTo(',', values), to)) return false;
  }
  return values.empty();
}

const Field* FindField(std::string_view name) {
  const auto found =
      std::ranges::find_if(kLayout.fields, [&](const Field& field) { return name == field.name; });
  return found == kLayout.fields.end() ? nullptr : &*found;
}

std::optional<std::int32_t> IdFrom(std::string_view word) {
  for (int id = IMSG::kFirstMessage; id <= IMSG::kLastMessage; ++id) {
    if (word == IMSG::GetMsgStr(id)) return id;
  }
  std::int32_t id = 0;
  if (!Store<std::int32_t>(word, reinterpret_cast<char*>(&id))) return std::nullopt;
  return id;
}

}  // namespace

std::optional<IntPubSubMsg> MessageFrom(std::string_view text, int module) {
  const auto id = IdFrom(TakeTo(' ', text));
  if (!id) return std::nullopt;
  IntPubSubMsg message = IntPubSubMsg::Make(static_cast<IMSG::MessageId>(0), module);
  message.msgtype = *id;
  bool summed = false;
  while (!text.empty()) {
    std::string_view values = TakeTo(' ', text);
    const std::string_view name = TakeTo('=', values);
    const Field* field = FindField(name);
    if (field == nullptr || !StoreField(*field, values, message)) return std::nullopt;
    summed = summed || name == kChecksum;
  }
  if (!summed) message.DoChkSum();
  return message;
}

std::string MessageText(const IntPubSubMsg& message) {
  const int id = message.msgtype;
  std::string text = IMSG::GetMsgStr(id);
  if (id < IMSG::kFirstMessage || id > IMSG::kLastMessage) text += "(" + std::to_string(id) + ")";
  const auto* bytes = reinterpret_cast<const char*>(&message);
  for (const Field& field : kLayout.fields.subspan(1)) {
    const char* from = bytes + field.offset;
    const bool empty = std::all_of(from, from + std::ptrdiff_t{field.size} * field.count,
                                   [](char byte) { return byte == 0; });
    const std::string_view name = field.name;
    if (name == kChecksum || (empty && name != "module")) continue;
    text.append(" ").append(name).append("=").append(Msg::FieldText(field, &message));
  }
  return text;
}

}  // namespace simulator

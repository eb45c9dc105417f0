#include "common/msg/records/record_layout.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {
namespace {

// A log line of a record continues on the next line from this length on, well below the longest
// line of the log.
constexpr std::size_t kShowWidth = 800;

const char* BytesOf(const Field& field, const void* record, int index) {
  return static_cast<const char*>(record) + field.offset + std::ptrdiff_t{index} * field.size;
}

template <class T>
double Load(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return static_cast<double>(value);
}

std::string NumberText(const Field& field, const void* record, int index) {
  char text[32];
  // nine digits represent any float32, ten any integer
  int digits = field.type == FieldType::kFloat32 ? 9 : 10;
  std::snprintf(text, sizeof text, "%.*g", digits, FieldNumber(field, record, index));
  return text;
}

}  // namespace

double FieldNumber(const Field& field, const void* record, int index) {
  const char* bytes = BytesOf(field, record, index);
  switch (field.type) {
    case FieldType::kUint8:
      return Load<std::uint8_t>(bytes);
    case FieldType::kInt16:
      return Load<std::int16_t>(bytes);
    case FieldType::kUint16:
      return Load<std::uint16_t>(bytes);
    case FieldType::kInt32:
      return Load<std::int32_t>(bytes);
    case FieldType::kUint32:
      return Load<std::uint32_t>(bytes);
    case FieldType::kUint64:
      return Load<std::uint64_t>(bytes);
    case FieldType::kFloat32:
      return Load<float>(bytes);
    case FieldType::kText:
      break;
  }
  return 0;
}

std::string FieldString(const Field& field, const void* record) {
  const char* bytes = BytesOf(field, record, 0);
  std::string text(bytes, strnlen(bytes, field.count));
  for (char& c : text) {
    if (std::isprint(static_cast<unsigned char>(c)) == 0) c = '.';
  }
  return text;
}

std::string FieldText(const Field& field, const void* record) {
  if (field.type == FieldType::kText) return '"' + FieldString(field, record) + '"';
  if (field.count == 1) return NumberText(field, record, 0);
  std::string text = "[";
  for (int i = 0; i < field.count; ++i) {
    if (i > 0) text += ' ';
    text += NumberText(field, record, i);
  }
  return text + ']';
}

void ShowRecord(int level, const Layout& layout, const HmpMsgHead* record) {
  if (!logger_mgr::LogSamples(msgL, level)) return;
  char head[128];
  std::snprintf(head, sizeof head, "<%s src=%d dst=%d opcode=%d 0x%04X len=%d", layout.name,
                record->src, record->dst, record->opcode, record->opcode & 0xFFFFu, record->len);
  std::string line = head;
  for (const Field& field : layout.fields) {
    std::string item = std::string(" ") + field.name + '=' + FieldText(field, record);
    if (line.size() + item.size() > kShowWidth) {
      Q5_LOG_AT(level, msgL, "%s\n", line.c_str());
      line.clear();
    }
    line += item;
  }
  Q5_LOG_AT(level, msgL, "%s/>\n", line.c_str());
}

}  // namespace Msg

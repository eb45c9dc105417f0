// The names and offsets of a record's fields, as data.
//
// The packed structs are for code that reads single fields. A Layout is for code that walks any
// record: the log, the host client. Q5_RECORD defines the layout with the offsets of the wire
// format and makes the compiler compare them with the struct: a field that is missing, of another
// size or at another offset does not compile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

#include "common/msg/records/hmp_msg_head.h"

namespace Msg {

enum class FieldType : std::uint8_t {
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kUint64,
  kFloat32,
  kText
};

struct Field {
  const char* name;
  FieldType type;
  std::uint16_t offset;  ///< from the record's start
  std::uint16_t size;    ///< of one element, in bytes
  std::uint16_t count;   ///< elements of an array, bytes of a text, else 1
};

/// A kind of record. `fields` are in order and without gaps from the end of the header to `size`,
/// including the checksum.
struct Layout {
  const char* name;
  int size;
  std::span<const Field> fields;

  int PayloadSize() const { return size - kFrameOverhead; }
};

/// The layout of a record type; every type of hmp_records.h has one.
template <class Record>
struct LayoutOf;

/// Element `index` of a field that is not a text. `record` contains the whole field.
double FieldNumber(const Field& field, const void* record, int index = 0);
/// A text field up to its first zero byte; an unprintable byte shows as a dot.
std::string FieldString(const Field& field, const void* record);
/// Any field as the log shows it: 12, 0.5, [1 2 3], "text".
std::string FieldText(const Field& field, const void* record);

/// Logs a complete record of this layout at `level`, with the value of every field.
void ShowRecord(int level, const Layout& layout, const HmpMsgHead* record);

namespace layout_detail {

template <class T>
consteval FieldType TypeOf() {
  if (std::is_same_v<T, char>) return FieldType::kText;
  if (std::is_same_v<T, std::uint8_t>) return FieldType::kUint8;
  if (std::is_same_v<T, std::int16_t>) return FieldType::kInt16;
  if (std::is_same_v<T, std::uint16_t>) return FieldType::kUint16;
  if (std::is_same_v<T, std::int32_t>) return FieldType::kInt32;
  if (std::is_same_v<T, std::uint32_t>) return FieldType::kUint32;
  if (std::is_same_v<T, std::uint64_t>) return FieldType::kUint64;
  if (std::is_same_v<T, float>) return FieldType::kFloat32;
  throw "a field of a type that the wire format does not have";
}

template <class T>
consteval Field At(const char* name, std::size_t in_struct, std::size_t on_wire) {
  if (in_struct != on_wire) throw "the struct and the wire format differ";
  using Element = std::remove_extent_t<T>;
  return {name, TypeOf<Element>(), static_cast<std::uint16_t>(on_wire), sizeof(Element),
          std::is_array_v<T> ? std::uint16_t{std::extent_v<T>} : std::uint16_t{1}};
}

consteval bool Complete(std::span<const Field> fields, std::size_t size) {
  std::size_t offset = kHeadSize;
  for (const Field& field : fields) {
    if (field.offset != offset) return false;
    offset += static_cast<std::size_t>(field.size) * field.count;
  }
  return offset == size;
}

}  // namespace layout_detail
}  // namespace Msg

// Q5_RECORD(Record, size, Q5_AT(offset, field), ...): at namespace Msg, behind the struct.
//
// The language does not guarantee offsetof for a struct with a base. Both compilers that build this
// tree define it for packed structs without virtual bases, but still warn.
#define Q5_RECORD(Record, wire_size, ...)                                  \
  _Pragma("GCC diagnostic push")                                           \
      _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"") template <> \
      struct LayoutOf<Record> {                                            \
    using R = Record;                                                      \
    static_assert(sizeof(R) == (wire_size) && alignof(R) == 1);            \
    static constexpr Field kFields[] = {__VA_ARGS__};                      \
    static_assert(layout_detail::Complete(kFields, wire_size));            \
    static constexpr Layout kLayout{#Record, wire_size, kFields};          \
  };                                                                       \
  _Pragma("GCC diagnostic pop") static_assert(true)

#define Q5_AT(offset, field) \
  layout_detail::At<decltype(R::field)>(#field, offsetof(R, field), offset)

// One field of a raw chip image: its bytes and their text in the XML.
//
//   HEX       `size` bytes, little-endian     "%x"
//   CHECK     the same                        "%.4x"
//   INT8/16   the same, without a sign        "%d"
//   ASCII     `size` bytes, the last of them 0, CR or LF
//   FLOAT32   4 bytes                         "%.14e"
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Dev {

enum class FieldFormat { Hex, Check, Integer, Ascii, Float32 };

using ChipBytes = std::span<const unsigned char>;

inline constexpr int kFloat32Bytes = 4;

/// Nothing for an unknown format.
std::optional<FieldFormat> FormatOf(std::string_view name);

/// The `size` bytes at `address` as a number; nothing unless they lie within `bytes` and `size` is
/// 1 to 4.
std::optional<std::uint32_t> NumberAt(ChipBytes bytes, int address, int size);

/// The text of a field; nothing, and a line in the log, when bytes are missing or do not suit
/// the format. A text ends at its first 0, CR or LF and holds printable ASCII only, as anything
/// else could not be read back from an XML file.
std::optional<std::string> DecodeField(ChipBytes bytes, int address, int size,
                                       std::string_view format);

/// Without the blanks around it.
std::string_view Trimmed(std::string_view text);

/// The number that a text of an integer format means, with or without blanks around it and, of
/// a hexadecimal one, 0x before it.
std::optional<std::uint32_t> NumberOf(std::string_view text, std::string_view format);

}  // namespace Dev

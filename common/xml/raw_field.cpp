#include "common/xml/raw_field.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdio>

#include "common/log/log_line.h"

namespace Dev {
namespace {

struct NamedFormat {
  std::string_view name;
  FieldFormat format;
};

constexpr NamedFormat kFormats[] = {
    {"HEX", FieldFormat::Hex},      {"CHECK", FieldFormat::Check},
    {"INT8", FieldFormat::Integer}, {"INT16", FieldFormat::Integer},
    {"ASCII", FieldFormat::Ascii},  {"FLOAT32", FieldFormat::Float32},
};

bool EndsText(unsigned char c) { return c == 0 || c == '\r' || c == '\n'; }
bool IsPrintable(unsigned char c) { return c >= 0x20 && c < 0x7F; }

std::optional<ChipBytes> BytesAt(ChipBytes bytes, int address, int size) {
  if (address < 0 || size < 1) return std::nullopt;
  const auto first = static_cast<std::size_t>(address);
  const auto count = static_cast<std::size_t>(size);
  if (first > bytes.size() || count > bytes.size() - first) return std::nullopt;
  return bytes.subspan(first, count);
}

std::string TextOf(FieldFormat format, std::uint32_t value) {
  char text[32];
  switch (format) {
    case FieldFormat::Float32:
      std::snprintf(text, sizeof text, "%.14e", double{std::bit_cast<float>(value)});
      break;
    case FieldFormat::Hex:
      std::snprintf(text, sizeof text, "%x", value);
      break;
    case FieldFormat::Check:
      std::snprintf(text, sizeof text, "%.4x", value);
      break;
    default:
      std::snprintf(text, sizeof text, "%d", static_cast<int>(value));
  }
  return text;
}

std::optional<std::string> AsciiText(ChipBytes field) {
  if (!EndsText(field.back())) return std::nullopt;
  const auto end = std::ranges::find_if(field, EndsText);
  if (!std::all_of(field.begin(), end, IsPrintable)) return std::nullopt;
  return std::string(field.begin(), end);
}

std::optional<std::string> Decode(ChipBytes bytes, int address, int size, FieldFormat format) {
  if (format == FieldFormat::Ascii) {
    const auto field = BytesAt(bytes, address, size);
    return field ? AsciiText(*field) : std::nullopt;
  }
  const int taken = format == FieldFormat::Float32 ? kFloat32Bytes : size;
  const auto value = NumberAt(bytes, address, taken);
  if (!value) return std::nullopt;
  return TextOf(format, *value);
}

}  // namespace

std::optional<FieldFormat> FormatOf(std::string_view name) {
  const auto* found = std::ranges::find(kFormats, name, &NamedFormat::name);
  if (found == std::end(kFormats)) return std::nullopt;
  return found->format;
}

std::optional<std::uint32_t> NumberAt(ChipBytes bytes, int address, int size) {
  const auto field = BytesAt(bytes, address, size);
  if (!field || field->size() > sizeof(std::uint32_t)) return std::nullopt;
  std::uint32_t value = 0;
  for (std::size_t i = field->size(); i-- > 0;) value = value << 8 | (*field)[i];
  return value;
}

std::optional<std::string> DecodeField(ChipBytes bytes, int address, int size,
                                       std::string_view format) {
  const auto known = FormatOf(format);
  const auto text = known ? Decode(bytes, address, size, *known) : std::nullopt;
  if (!text) {
    Q5_LOG_ERROR(ee_grpL, "%s: %d bytes at 0x%x of the %zu read are no %.*s\n", __func__, size,
                 static_cast<unsigned>(address), bytes.size(),
                 static_cast<int>(std::min<std::size_t>(format.size(), 16)), format.data());
  }
  return text;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<std::uint32_t> NumberOf(std::string_view text, std::string_view format) {
  const auto known = FormatOf(format);
  if (!known || *known == FieldFormat::Ascii || *known == FieldFormat::Float32) return std::nullopt;
  std::uint32_t value = 0;
  const int base = *known == FieldFormat::Integer ? 10 : 16;
  text = Trimmed(text);
  if (base == 16 && (text.starts_with("0x") || text.starts_with("0X"))) text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace Dev

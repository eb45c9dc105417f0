// Numbers from text.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace simulator {

/// A whole number from 0 to `most` that takes up all of `text`; nothing otherwise. With `base` 16 a
/// leading "0x" is allowed.
inline std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t most,
                                                int base = 10) {
  if (base == 16 && text.starts_with("0x")) text.remove_prefix(2);
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value, base);
  if (result.ec != std::errc() || result.ptr != end || value > most) return std::nullopt;
  return value;
}

/// 0x and hexadecimal digits, or decimal.
inline std::optional<std::uint64_t> ParseHexOrDecimal(std::string_view text, std::uint64_t most) {
  return ParseNumber(text, most, text.starts_with("0x") ? 16 : 10);
}

/// A number from `least` to `most` that takes up all of `text`.
inline std::optional<double> ParseReal(std::string_view text, double least, double most) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  if (!(value >= least && value <= most)) return std::nullopt;
  return value;
}

}  // namespace simulator

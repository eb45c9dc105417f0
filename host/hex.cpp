#include "host/hex.h"

#include <fmt/format.h>

#include <cctype>
#include <charconv>

namespace host {

std::optional<Bytes> ParseHex(std::string_view text, std::string& error) {
  Bytes bytes;
  for (std::size_t i = 0; i < text.size();) {
    if (std::isspace(static_cast<unsigned char>(text[i])) != 0) {
      ++i;
      continue;
    }
    std::string_view pair = text.substr(i, 2);
    std::uint8_t byte = 0;
    auto [end, code] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (code != std::errc() || end != pair.data() + 2) {
      error = fmt::format("'{}' at character {} is no pair of hexadecimal digits", pair, i + 1);
      return std::nullopt;
    }
    bytes.push_back(byte);
    i += 2;
  }
  return bytes;
}

std::string HexText(const Bytes& bytes, int indent) {
  constexpr std::size_t kPerLine = 16;
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && indent >= 0 && i % kPerLine == 0) {
      text += fmt::format("\n{:{}}", "", indent);
    } else if (i > 0) {
      text += ' ';
    }
    text += fmt::format("{:02X}", bytes[i]);
  }
  return text;
}

}  // namespace host

// Bytes as a person writes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

using Bytes = std::vector<std::uint8_t>;

/// Pairs of hexadecimal digits, with or without blanks between them: "00 00 2A00". Nothing, and a
/// reason in `error`, for anything else.
std::optional<Bytes> ParseHex(std::string_view text, std::string& error);

/// "00 00 2A 00"; a new line with this indent after each 16 bytes if `indent` is not negative.
std::string HexText(const Bytes& bytes, int indent = -1);

}  // namespace host

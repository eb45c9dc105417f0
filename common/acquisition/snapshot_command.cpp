#include "common/acquisition/snapshot_command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace acquisition {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr int kMostPort = 65535;

/// The next word of `text`, taken off its front; empty at the end.
std::string_view TakeWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

template <class Number>
std::optional<Number> ParseNumber(std::string_view word, Number least, Number most) {
  Number number{};
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  if (number < least || number > most) return std::nullopt;
  return number;
}

bool IsFileName(std::string_view name) {
  constexpr std::string_view kOthers = "._-/";
  return !name.empty() && name.front() != '-' && std::ranges::all_of(name, [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kOthers.find(c) != kOthers.npos;
  });
}

/// Four numbers, none above 255.
bool IsAddress(std::string_view address) {
  // a number may have a sign, an address may not
  if (address.find_first_not_of("0123456789.") != address.npos) return false;
  for (int part = 0; part < 4; ++part) {
    const std::size_t dot = part < 3 ? address.find('.') : address.size();
    if (dot == address.npos || !ParseNumber(address.substr(0, dot), 0, 255)) return false;
    address.remove_prefix(std::min(dot + 1, address.size()));
  }
  return address.empty();
}

}  // namespace

std::optional<SnapshotCommand> ParseSnapshotCommand(std::string_view line) {
  constexpr int kMost = std::numeric_limits<int>::max();
  const auto samples =
      ParseNumber(TakeWord(line), std::int64_t{1}, std::numeric_limits<std::int64_t>::max());
  const std::string_view file = TakeWord(line);
  if (!samples || !IsFileName(file)) return std::nullopt;
  SnapshotCommand command;
  command.samples = *samples;
  command.file = file;
  // a field that is no number ends the line, as for scanf
  const auto rate = ParseNumber(TakeWord(line), std::numeric_limits<int>::min(), kMost);
  if (!rate) return command;
  command.rate = std::max(*rate, 1);
  const auto format = ParseNumber(TakeWord(line), std::numeric_limits<int>::min(), kMost);
  if (!format) return command;
  command.format = *format;
  const std::string_view address = TakeWord(line);
  const auto port = ParseNumber(TakeWord(line), 1, kMostPort);
  if (port && IsAddress(address)) {
    command.address = address;
    command.port = *port;
  }
  return command;
}

}  // namespace acquisition

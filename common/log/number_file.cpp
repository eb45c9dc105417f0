#include "common/log/number_file.h"

#include <charconv>
#include <cstdio>

namespace Logger {
namespace {

// Takes one number of the ring off the front, with blanks before it as scanf's %d takes them.
std::optional<int> TakeNumber(std::string_view& text) {
  const auto start = text.find_first_not_of(" \t\r\n");
  if (start == text.npos) return std::nullopt;
  text.remove_prefix(start);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 1 || number > kRingFiles) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace

std::optional<RotationNumbers> ParseNumberFile(std::string_view text) {
  const auto at_boot = TakeNumber(text);
  const auto next = at_boot ? TakeNumber(text) : std::nullopt;
  if (!next) return std::nullopt;
  return RotationNumbers{*at_boot, *next};
}

std::string RingName(const std::string& name, int number) {
  char extension[16];
  std::snprintf(extension, sizeof extension, ".%02d", number);
  return name + extension;
}

std::string FormatNumberFile(const RotationNumbers& numbers, int rotations,
                             const std::string& directory, const std::string& name) {
  std::string text = std::to_string(numbers.at_boot) + " " + std::to_string(numbers.next) + "\n";
  const int earlier = kRingFiles - (rotations + 1);
  int number = numbers.next;
  for (int line = 0; line < kRingFiles; ++line, number = RingAfter(number)) {
    text += (line < earlier ? "0: " : "1: ") + directory + RingName(name, number) + "\n";
  }
  return text;
}

}  // namespace Logger

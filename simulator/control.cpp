#include "simulator/control.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <vector>

#include "simulator/parse.h"

namespace simulator {
namespace {

bool IsPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return (c >= ' ' && c <= '~') || c == '\t'; });
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  while (!line.empty()) {
    const std::size_t start = std::min(line.find_first_not_of(" \t"), line.size());
    line.remove_prefix(start);
    const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
    if (end > 0) words.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
  return words;
}

/// An answer is one line whatever a value holds.
std::string Ok(std::string text) {
  std::ranges::replace_if(
      text,
      [](char c) {
        return !IsPrintable({&c, 1});
      },
      '?');
  return text.empty() ? "ok" : "ok " + text;
}

std::string Error(std::string_view text) { return "error " + std::string(text); }

using Arguments = std::span<const std::string_view>;

std::string Get(const Units& units, Arguments arguments) {
  const Units::Value* value = units.FindValue(arguments[0]);
  if (value == nullptr) return Error("no value " + std::string(arguments[0]));
  return Ok(value->get());
}

std::string Set(const Units& units, Arguments arguments) {
  const Units::Value* value = units.FindValue(arguments[0]);
  if (value == nullptr) return Error("no value " + std::string(arguments[0]));
  if (!value->set) return Error(std::string(arguments[0]) + " is read only");
  std::string text;
  for (const std::string_view word : arguments.subspan(1)) {
    text.append(text.empty() ? "" : " ").append(word);
  }
  if (!value->set(text)) return Error(std::string(arguments[0]) + " cannot be " + text);
  return Ok("");
}

std::string List(const Units& units, Arguments) { return Ok(units.List()); }

std::string SetFault(const Units& units, Arguments arguments) {
  FaultSwitch* faults = units.FindFaults(arguments[0]);
  if (faults == nullptr) return Error("no unit " + std::string(arguments[0]));
  if (arguments.size() == 1) return Ok(faults->Show());
  const std::string problem = faults->Set(arguments.subspan(1));
  return problem.empty() ? Ok("") : Error(problem);
}

constexpr std::size_t kShownBytes = 16;
constexpr std::size_t kMostShownBytes = 4096;
constexpr std::size_t kMostMemoryBytes = 0x100000;

/// The words behind "memory NAME ACTION" as numbers; nothing when one is invalid.
std::optional<std::vector<std::size_t>> Numbers(Arguments words) {
  std::vector<std::size_t> numbers;
  for (const std::string_view word : words) {
    const auto number = ParseHexOrDecimal(word, kMostMemoryBytes);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

using MemoryArguments = std::span<const std::size_t>;

std::string ShowMemory(Memory& memory, MemoryArguments numbers) {
  std::string text;
  for (const std::uint8_t byte : memory.Bytes(
           numbers[0], std::min(numbers.size() > 1 ? numbers[1] : kShownBytes, kMostShownBytes))) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%s%02x", text.empty() ? "" : " ", static_cast<unsigned>(byte));
    text += hex;
  }
  return Ok(text);
}

std::string FlipMemory(Memory& memory, MemoryArguments numbers) {
  if (numbers[0] >= memory.Size() || numbers[1] > 7) return Error("no such bit");
  memory.Flip(numbers[0], static_cast<unsigned>(numbers[1]));
  return Ok("");
}

std::string BlankMemory(Memory& memory, MemoryArguments numbers) {
  memory.Blank(numbers.empty() ? 0 : numbers[0]);
  return Ok("");
}

std::string RestoreMemory(Memory& memory, MemoryArguments) {
  memory.Restore();
  return Ok("");
}

struct MemoryAction {
  std::string_view name;
  std::size_t least;
  std::size_t most;
  std::string (*run)(Memory&, MemoryArguments);
};

constexpr MemoryAction kMemoryActions[] = {
    {"show", 1, 2, ShowMemory},      {"flip", 2, 2, FlipMemory},       {"blank", 0, 0, BlankMemory},
    {"truncate", 1, 1, BlankMemory}, {"restore", 0, 0, RestoreMemory},
};

std::string UseMemory(const Units& units, Arguments arguments) {
  Memory* memory = units.FindMemory(arguments[0]);
  if (memory == nullptr) return Error("no memory " + std::string(arguments[0]));
  const auto* action = std::ranges::find(kMemoryActions, arguments[1], &MemoryAction::name);
  const auto numbers = Numbers(arguments.subspan(2));
  if (action == std::end(kMemoryActions) || !numbers || numbers->size() < action->least ||
      numbers->size() > action->most) {
    return Error(
        "expected show ADDRESS [COUNT], flip ADDRESS BIT, blank, truncate LENGTH or restore");
  }
  return action->run(*memory, *numbers);
}

constexpr std::size_t kMostWords = 16;  ///< of a value

struct Command {
  std::string_view name;
  std::size_t least;  ///< arguments
  std::size_t most;
  const char* usage;
  std::string (*run)(const Units&, Arguments);
};

constexpr Command kCommands[] = {
    {"get", 1, 1, "get NAME", Get},
    {"set", 2, kMostWords, "set NAME VALUE", Set},
    {"list", 0, 0, "list", List},
    {"fault", 1, 3, "fault NAME [FAULT [NUMBER]]", SetFault},
    {"memory", 2, 4, "memory NAME ACTION [NUMBERS]", UseMemory},
};

}  // namespace

std::string AnswerControlLine(const Units& units, std::string_view line) {
  if (line.size() > kLongestControlLine) return Error("line too long");
  if (!IsPrintable(line)) return Error("not a line of text");
  const std::vector<std::string_view> words = Words(line);
  if (words.empty()) return Error("empty line");
  const auto* command =
      std::ranges::find_if(kCommands, [&](const Command& entry) { return words[0] == entry.name; });
  if (command == std::end(kCommands)) return Error("expected get, set, list, fault or memory");
  const Arguments arguments = Arguments(words).subspan(1);
  if (arguments.size() < command->least || arguments.size() > command->most) {
    return Error(std::string("expected ") + command->usage);
  }
  return command->run(units, arguments);
}

}  // namespace simulator

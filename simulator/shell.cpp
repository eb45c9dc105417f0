#include "simulator/shell.h"

#include <cassert>
#include <utility>

namespace simulator {
namespace {

constexpr std::size_t kLongestShown = 120;

}  // namespace

void Shell::Add(std::string start, Command command) {
  const bool added = commands_.emplace(std::move(start), std::move(command)).second;
  assert(added);
}

int Shell::ExitStatus(std::string_view line) const {
  const Command* best = nullptr;
  std::size_t longest = 0;
  for (const auto& [start, command] : commands_) {
    if (!line.starts_with(start) || start.size() < longest) continue;
    best = &command;
    longest = start.size();
  }
  if (best == nullptr) return kNotFound;
  return (*best)(line.substr(longest)).value_or(kNotFound);
}

int Shell::Run(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  const int status = ExitStatus(line);
  const platform::Lock lock(mutex_);
  history_.push_back(std::string(line.substr(0, kLongestShown)) + " => " + std::to_string(status));
  if (history_.size() > kHistory) history_.pop_front();
  return status << 8;
}

std::string Shell::History() const {
  const platform::Lock lock(mutex_);
  std::string text;
  for (const std::string& entry : history_) text += (text.empty() ? "" : "; ") + entry;
  return text;
}

}  // namespace simulator

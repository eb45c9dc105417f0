// The instrument's shell: commands that models answer. None is ever run on this machine.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/thread_safety.h"

namespace simulator {

/// Commands are added while the instrument is built; Run and History from any thread after that.
class Shell {
 public:
  /// Gets what follows the command's first words and returns the exit status; nothing for a use of
  /// the command that it does not know.
  using Command = std::function<std::optional<int>(std::string_view rest)>;

  static constexpr int kNotFound = 127;  ///< the shell's exit status for an unknown command
  static constexpr std::size_t kHistory = 16;

  /// `start` is the text that the command line begins with; the longest one that fits answers.
  void Add(std::string start, Command command);
  /// A wait status as of system(3).
  int Run(std::string_view line);
  /// The last commands, the oldest first, each with its exit status.
  std::string History() const;

 private:
  int ExitStatus(std::string_view line) const;

  std::map<std::string, Command, std::less<>> commands_;
  mutable platform::Mutex mutex_;
  std::deque<std::string> history_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator

// The directory that is the instrument's "/".
#pragma once

#include <string>

#include "platform/unique_fd.h"
#include "simulator/config.h"

namespace simulator {

/// Holds the root for the life of q5sim: its lock file keeps a second q5sim away, and the
/// kernel drops the lock however the first one ends.
class RootDir {
 public:
  /// Makes the directory if needed, takes its lock, makes the directories inside.
  /// Empty when done, else what prevents it, in one line.
  std::string Claim(const std::string& directory);
  /// Writes the files that are missing; existing ones are kept, as an instrument keeps its state.
  /// Only "/etc/hosts" always has the addresses of this run.
  std::string WriteFiles(const Config& config);

  const std::string& Path() const { return path_; }
  /// The addresses that "/etc/hosts" holds from an earlier run; empty texts where it has none.
  Addresses EarlierAddresses() const;

 private:
  std::string path_;
  platform::UniqueFd lock_;
};

}  // namespace simulator

// The directory that stands for the instrument's "/".
#pragma once

#include <string>

#include "platform/unique_fd.h"
#include "simulator/config.h"

namespace simulator {

/// Holds the root for the life of q5sim: its lock file tells a second q5sim to stay away, and the
/// kernel drops the lock however the first one ends.
class RootDir {
 public:
  /// Makes the directory if needed, takes its lock, makes the directories inside.
  /// Empty when done, else what stands in the way, in one line.
  std::string Claim(const std::string& directory);
  /// Writes the files that are missing; existing ones are kept, as an instrument keeps its state.
  /// Only
  /// "/etc/hosts" always tells the addresses of this run.
  std::string WriteFiles(const Config& config);

  const std::string& Path() const { return path_; }
  /// The addresses that "/etc/hosts" holds from an earlier run; empty texts where it tells none.
  Addresses EarlierAddresses() const;

 private:
  std::string path_;
  platform::UniqueFd lock_;
};

}  // namespace simulator

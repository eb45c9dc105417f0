// The instrument's mounts: the partitions of its card and the shares of the other modules, as the
// daemon's shell commands see and change them.
//
// Only the table is modelled: the directories under the root are there whether mounted or not.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/thread_safety.h"
#include "simulator/fault.h"
#include "simulator/shell.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any, once built.
class Mounts {
 public:
  /// The card's partitions are mounted at boot; the shares are not.
  Mounts(std::uint64_t seed, Shell& shell, Units& units);

 private:
  /// "mount DEVICE PATH" and "mount -t cifs SHARE PATH -o ...".
  std::optional<int> Mount(std::string_view arguments);
  /// "cat /etc/mtab|egrep -i PATTERN": 0 when a line holds the pattern, 1 when none does.
  int FindInTable(std::string_view pattern) const;
  std::string Table() const;

  FaultSwitch faults_;
  mutable platform::Mutex mutex_;
  /// Path to device or share.
  std::map<std::string, std::string, std::less<>> mounted_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator

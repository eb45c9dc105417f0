// What a user asks for in the snapshot command file: one line
//
//   SAMPLES FILE [RATE [FORMAT [ADDRESS PORT]]]
//
// SAMPLES pairs go to FILE, every RATE-th one; FORMAT 0 is text, any other binary. With an address
// and a port the finished file is sent there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace acquisition {

struct SnapshotCommand {
  std::int64_t samples = 0;  ///< at least 1
  std::string file;          ///< a path on the instrument
  int rate = 1;              ///< at least 1
  int format = 0;
  std::string address;  ///< dotted; empty: do not send
  int port = 0;
};

/// Nothing for a line that is no command. A file name may contain only letters, digits and "._-/",
/// because it reaches a shell. An invalid address or port counts as missing.
std::optional<SnapshotCommand> ParseSnapshotCommand(std::string_view line);

}  // namespace acquisition

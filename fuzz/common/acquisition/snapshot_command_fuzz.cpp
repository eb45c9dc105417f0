// The snapshot command file: any line makes no command or one within its limits.
#include <cassert>
#include <string_view>

#include "common/acquisition/snapshot_command.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const auto command =
      acquisition::ParseSnapshotCommand({reinterpret_cast<const char*>(data), size});
  if (!command) return 0;
  assert(command->samples >= 1 && command->rate >= 1);
  assert(command->port >= 0 && command->port <= 65535);
  assert((command->port > 0) == !command->address.empty());
  // both reach a shell
  constexpr std::string_view kShell = " \t\n;|&<>$`'\"\\(){}*?[]!~#";
  assert(command->file.find_first_of(kShell) == std::string::npos && !command->file.empty());
  assert(command->address.find_first_not_of("0123456789.") == std::string::npos);
  return 0;
}

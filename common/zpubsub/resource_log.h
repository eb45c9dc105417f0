// The machine's memory, once a minute on standard output, which is a daemon's log.
#pragma once

#include <string>
#include <string_view>

namespace IMSG {

/// A table as the `free` command prints it, in KiB, from the text of /proc/meminfo.
std::string MemoryTable(std::string_view meminfo);

/// Starts the log, on the timers; a second start changes nothing.
void StartResourceLog();
void StopResourceLog();

}  // namespace IMSG

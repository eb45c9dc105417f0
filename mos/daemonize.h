// Turning the process into a daemon.
#pragma once

namespace Mos {

/// Leaves the terminal, makes `log_path` standard input, output and error and its descriptor
/// `logfd`, and takes `lock_path` for the life of the process. Both are instrument paths.
/// Only the daemon returns: the parent ends with status 0, and what fails (another mos holds the
/// lock, the log cannot be written) ends the process with status 1.
/// A process whose parent is process 1 is one already: nothing is done.
void daemonize(const char* log_path, const char* lock_path);

}  // namespace Mos

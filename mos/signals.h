// What mos does on a signal.
#pragma once

namespace Mos {

/// Installs sig_handler for SIGSEGV, SIGILL, SIGABRT, SIGTERM, SIGPIPE, SIGFPE and SIGBUS. Each
/// other signal that ends a process drops ALLOK first, unless the starter ignores it.
void InstallSignalHandlers();

/// Tells the log and gives the signal its default action back. So the first SIGTERM does not end
/// the daemon but takes the handler away, and a fault re-executes and ends the process with a core
/// dump. In the foreground a SIGPIPE never ends it. Whatever ends it drops ALLOK first.
void sig_handler(int signal_number);

/// Lets a crash write a core of any size, as far as the machine's hard limit goes.
void AllowCoreDumps();

}  // namespace Mos

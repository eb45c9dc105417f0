// The main module's collection of all daemons' logs, which its web pages ask for by leaving a file.
#pragma once

namespace Logger {

class logger_mgr;

/// Holds the mode of the collection: 0, 1 or 2.
inline constexpr char kCollectRequest[] = "/home/root/getlogsig";
/// Asks for a rotation of all daemons and no more.
inline constexpr char kRotateRequest[] = "/home/root/getlogtest";
/// One shell command a line, as the collecting script wrote them.
inline constexpr char kCollectCommands[] = "/home/root/getlogcmd";

/// Serves what is asked for, and removes the request when it has been. `send` asks the other
/// modules to rotate. A collection waits up to 120 s for their logs. Threads: one at a time.
void ServeCollectionRequests(logger_mgr& logger, void (*send)());

}  // namespace Logger

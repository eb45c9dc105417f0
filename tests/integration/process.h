// Real programs for the integration tests: started, watched by what they print, and never left
// behind.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/platform/temporary_root.h"

namespace test {

using platform::TemporaryRoot;
using Milliseconds = std::chrono::milliseconds;

/// How long a program may take for what a test waits for; far above what it needs even where every
/// core is busy, for it only ends a test that hangs.
inline constexpr Milliseconds kPatience{60000};

/// One program of this build. Killed, with SIGKILL, when the object goes.
class Process {
 public:
  using Environment = std::map<std::string, std::string>;

  Process(const std::string& program, const std::vector<std::string>& arguments,
          const Environment& environment = {});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Everything printed so far, on standard output and error together.
  std::string Output() const;
  /// True once `text` stands in the output; false when the program ended or patience ran out first.
  bool WaitForOutput(const std::string& text, Milliseconds patience = kPatience);
  /// Exit status, or 128 + signal; nothing when it still runs after `patience`.
  std::optional<int> Wait(Milliseconds patience = kPatience);
  bool Running();
  void Signal(int signal_number);
  pid_t pid() const { return pid_; }
  /// Resident memory in KiB.
  long ResidentKib() const;

 private:
  pid_t pid_ = -1;
  int output_ = -1;
  std::optional<int> status_;
};

struct Result {
  int status;
  std::string output;
};

/// Runs one program to its end.
Result RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                  const Process::Environment& environment = {});

/// A virtual instrument on a root of its own, ready for use, and a daemon on it.
class Bench {
 public:
  Bench();
  /// Ends a daemon that went to the background, too.
  ~Bench();

  /// (Re)starts q5sim, on the addresses that it had, or mos in the foreground until it answers; a
  /// failure throws, with what was printed.
  void StartSimulator();
  void StartDaemon(const std::vector<std::string>& more_options = {});
  /// One host command by q5host on this root.
  Result Host(const std::vector<std::string>& arguments);
  Result Control(const std::vector<std::string>& words);
  /// Address of "main", "meas" or "source" on this bench's network.
  std::string AddressOf(const std::string& module) const;
  /// A plain TCP connection to a module; the caller closes it. -1 with errno.
  int Connect(const std::string& module, int port) const;
  Process::Environment environment() const { return {{"Q5_ROOT", root.Path()}}; }
  std::string ipc_path() const { return root / "tmp/Mos.MeasMgr.ipc"; }

  TemporaryRoot root;
  std::unique_ptr<Process> simulator;
  std::unique_ptr<Process> daemon;

 private:
  std::string subnet_ = "auto";
};

/// A sanitizer keeps freed memory for a while, so only a plain build's figures say anything.
#ifdef Q5_SANITIZED
inline void ExpectNoGrowth(long, long, long) {}
#else
inline void ExpectNoGrowth(long before, long now, long allowed_kib) {
  EXPECT_LT(now, before + allowed_kib);
}
#endif

}  // namespace test

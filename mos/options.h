// The command line of mos.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace Mos {

struct Options {
  std::string id = "Mos.MeasMgr";  ///< bus identity of the servant
  std::uint16_t port = 3088;       ///< its TCP port; 0: no TCP link
  std::string gid = "Mos.I2cMgr";  ///< bus identity of the I2C gateway
  std::uint16_t gport = 3089;      ///< its TCP port
  bool check_board = true;         ///< cleared by --discard
  bool monitor = true;             ///< ALLOK monitor; cleared by --nomonitor
  int skip_ee2xml = 0;             ///< --xml
};

/// Reads the command line into `options` and the process flags. Returns the exit status when the
/// process has nothing more to do: 0 after --help, --version or an unknown option, -1 after a
/// left-over argument or an invalid value (reported on standard error).
std::optional<int> ParseOptions(int argc, char* argv[], Options& options);

/// Clears what needs run_fft when that is not set.
void ValidOptions();

void PrintUsage(std::FILE* stream);

/// Logs at error level why the daemon does not start. Writes it to standard error instead when the
/// log's levels, all 0 until the log's configuration has been read, suppress it.
[[gnu::format(printf, 1, 2)]] void StartupError(const char* format, ...);

}  // namespace Mos

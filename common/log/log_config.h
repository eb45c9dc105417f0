// The settings of the log, as "/varek/config/q5logging.cfg" has them (libconfig syntax, integers).
//
// Threads: plain functions.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "common/log/log_modules.h"

namespace Logger {

/// Which daemon's keys count: the module id that the daemon runs under.
enum LogOwner : int { kMainOwner = 0, kMeasOwner = 1, kSourceOwner = 2 };

inline constexpr int kDefaultRotateSize = 5120;
inline constexpr int kDefaultNakThreshold = 300000000;
/// A file beyond this is taken for damaged; the shipped one has some 4 kB.
inline constexpr std::size_t kMaxConfigBytes = std::size_t{1024} * 1024;

struct LogSettings {
  std::array<std::optional<int>, maxlogL> levels{};  ///< by module number; empty: stays as it is
  int rotateSize = kDefaultRotateSize;               ///< KiB, above 0
  int nakthreshold = kDefaultNakThreshold;           ///< bytes
};

struct LogConfigError {
  int line = 0;
  std::string text;
};

/// Reads the settings of the daemon on module `owner`. A key that is missing or no integer, and a
/// rotateSize that is not above 0, count as missing. Nothing, with `error` filled, when `text` is
/// not in libconfig's syntax. Files that `text` includes are looked for in `include_directory`.
std::optional<LogSettings> ParseLogConfig(const std::string& text,
                                          const std::string& include_directory, int owner,
                                          LogConfigError& error);

}  // namespace Logger

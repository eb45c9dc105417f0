// The ring of rotated logs and the file that remembers its place across boots.
//
//   3 5                                          number at boot, next number
//   0: /media/mmcblk0p2/logs/moslog.05           20 lines, oldest first;
//   1: /media/mmcblk0p2/logs/moslog.03           1 marks a file of this run
//
// Threads: plain functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Logger {

inline constexpr int kRingFiles = 20;
/// A number file has some 800 bytes; a larger one is invalid.
inline constexpr std::size_t kMaxNumberFileBytes = std::size_t{64} * 1024;

constexpr int RingAfter(int number) { return number % kRingFiles + 1; }
constexpr int RingBefore(int number) { return number > 1 ? number - 1 : kRingFiles; }

struct RotationNumbers {
  int at_boot = 1;
  int next = 1;
};

/// The first line of a number file. Nothing unless both are numbers of the ring (1 to 20), so that
/// a damaged file never names or indexes anything.
std::optional<RotationNumbers> ParseNumberFile(std::string_view text);

/// The whole file; `rotations` are those of this run before the one that is being noted,
/// `directory` ends in a slash, `name` is the log's base name.
std::string FormatNumberFile(const RotationNumbers& numbers, int rotations,
                             const std::string& directory, const std::string& name);

/// "moslog" and 7 make "moslog.07".
std::string RingName(const std::string& name, int number);

}  // namespace Logger

// A text attribute of the FPGA's driver, held open.
#pragma once

#include <array>
#include <optional>

#include "platform/clock.h"
#include "platform/device_fd.h"

namespace acquisition {

inline constexpr char kOverflowPath[] = "/sys/fpgaattr/overflow_underflow";
inline constexpr char kBlockIndexPath[] = "/sys/fpgaattr/brIndex";
inline constexpr char kReceivedPath[] = "/sys/fpgaattr/rxfpga";
inline constexpr char kConverterStatusPath[] = "/sys/fpgaattr/atod_status";
/// The command with which the shell clears the count of overruns.
inline constexpr char kClearOverflow[] = "echo 0 >/sys/fpgaattr/overflow_underflow";

/// Threads: one at a time.
class DriverAttribute {
 public:
  /// False, with errno set, when it cannot be opened.
  bool Open(const char* path);
  /// Reads the attribute, unless it was read in the last tenth of a second. So a caller may look at
  /// each block without a system call each time. True when it has read.
  bool Refresh();
  /// Its text, without the line end; empty when it cannot be read.
  const char* Text() const { return text_.data(); }
  /// The text as a hexadecimal number; 0 for any other text.
  unsigned long Hex() const;

 private:
  platform::DeviceFd fd_;
  std::array<char, 31> text_{};
  std::optional<platform::Nanoseconds> read_at_;  ///< monotonic
};

}  // namespace acquisition

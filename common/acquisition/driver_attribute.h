// A text attribute of the FPGA's driver, held open.
#pragma once

#include <array>

#include "platform/device_fd.h"

namespace acquisition {

inline constexpr char kOverflowPath[] = "/sys/fpgaattr/overflow_underflow";
inline constexpr char kBlockIndexPath[] = "/sys/fpgaattr/brIndex";
inline constexpr char kReceivedPath[] = "/sys/fpgaattr/rxfpga";
inline constexpr char kConverterStatusPath[] = "/sys/fpgaattr/atod_status";
/// The shell's way to clear the count of overruns.
inline constexpr char kClearOverflow[] = "echo 0 >/sys/fpgaattr/overflow_underflow";

/// Threads: one at a time.
class DriverAttribute {
 public:
  /// False, with errno set, when it cannot be opened.
  bool Open(const char* path);
  /// Its text now, without the line end; empty when it cannot be read. Valid until the next call.
  const char* Read();
  /// Its text as a hexadecimal number; 0 when it is none.
  unsigned long ReadHex();

 private:
  platform::DeviceFd fd_;
  std::array<char, 31> text_{};
};

}  // namespace acquisition

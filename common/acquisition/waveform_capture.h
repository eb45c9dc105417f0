// Records of raw samples in binary: a 64-byte heading, then the pairs as the FPGA wrote them.
//
// The heading is text, filled with zeros: "# hh:mm:ss.nnnnnnnnn", the waveform generator's and the
// test's samples per cycle in hexadecimal, the test frequency in Hz, and the rate.
#pragma once

#include <cstddef>

namespace acquisition {

inline constexpr std::size_t kCaptureBytes = 0x2000;  ///< of the block: 1024 pairs
inline constexpr std::size_t kCaptureHeading = 64;

/// Turns a file into a rolling record.
class WrapCount {
 public:
  static constexpr int kCaptures = 4096;

  /// Before each capture; true when the file is to be written from its start again.
  bool Count();

 private:
  int left_ = kCaptures;
};

/// Appends one capture to `fd` and forces it to the disk. `block` has kCaptureBytes; with a `rate`
/// above 1 only every rate-th pair of its first kCaptureBytes / rate bytes is written. `wrap` may
/// be null. -1 when the file could not take all of it.
int WaveformCapture(int fd, const int* block, WrapCount* wrap, int rate);

}  // namespace acquisition

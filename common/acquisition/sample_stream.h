// The driver's stream of samples: how large its blocks are, and its start.
//
// Threads: one at a time.
#pragma once

#include <cstdint>

#include "common/acquisition/block_layout.h"
#include "common/acquisition/sample_ring.h"

namespace acquisition {

class SampleStream {
 public:
  /// `fpga_fd` is the FPGA device's descriptor; both outlive the object.
  SampleStream(int fpga_fd, SampleRing& ring) : fpga_fd_(fpga_fd), ring_(ring) {}

  int Map() { return ring_.Map(fpga_fd_); }
  /// -1 when the driver refuses the block size.
  int Announce(const BlockLayout& layout) const;
  /// Starts sampling from page 0 of the ring. -1, with a line in the log, when the driver refuses.
  int Start() const;
  /// Repeats all of it for a driver that has lost its state: the mapping of the ring, the block
  /// size, the start. False when the driver does not serve yet.
  bool StartAgain(const BlockLayout& layout);

  /// Accesses an FPGA register by ioctl; `value` is input and output. Returns as ioctl.
  static int Request(int fd, unsigned long request, int offset, std::uint32_t& value);

 private:
  const int fpga_fd_;
  SampleRing& ring_;
};

}  // namespace acquisition

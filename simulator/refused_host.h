// A host that comes while another one is connected: its first record is answered by a NAK with the
// words "main module" and NAK_MCODE_NOSPACE, and the connection ends.
#pragma once

#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "simulator/record_cutter.h"

namespace simulator {

/// Of the ethb thread.
class RefusedHost {
 public:
  RefusedHost(platform::UniqueFd socket, platform::Nanoseconds now);

  int Descriptor() const { return socket_.Get(); }
  /// Reads and answers what has come. False when the connection is over: the host has closed it, or
  /// has had the time to send a record and to read its answer.
  bool Serve(platform::Nanoseconds now);

 private:
  void Answer(const RecordCutter::Record& record);

  platform::UniqueFd socket_;
  RecordCutter cutter_;
  platform::Nanoseconds until_;
  bool answered_ = false;
};

}  // namespace simulator

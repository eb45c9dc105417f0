// The main module's question over UDP whether the measurement module is there, and its word where
// the source module is.
//
// Asked every 100 ms until the first answer and every second from then on. Value: heartbeat.acks
// (answers so far). While the unit tos is off nobody asks; while sos is, the source module is said
// to be not alive.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "common/msg/records/network_packet.h"
#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "simulator/units.h"

namespace simulator {

class Heartbeat {
 public:
  struct Setup {
    std::string main, meas, source;  ///< dotted addresses
    std::function<bool()> main_up;   ///< any thread
    std::function<bool()> source_up;
  };

  Heartbeat(Setup setup, platform::Clock& clock, Units& units);

  /// Empty when it can run, else why not.
  const std::string& Problem() const { return problem_; }
  /// Called every few milliseconds, by one thread.
  void Update();

 private:
  void Receive();
  void Send(Msg::PacketType type, std::int32_t status, const std::string& about);

  const Setup setup_;
  platform::Clock& clock_;
  platform::UniqueFd socket_;
  std::string problem_;
  sockaddr_in meas_{};
  platform::Nanoseconds next_{0};
  std::uint64_t seqno_ = 0;
  std::atomic<int> acks_{0};
};

}  // namespace simulator

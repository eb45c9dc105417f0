// The main module's `ethb`: takes a host's TCP connection and passes its records to the measurement
// daemon over the bus.
//
// Each record is sent as the payload of a bus message [delimiter][descriptor][payload] from a
// DEALER socket; the reply's payload returns to the host. The daemon answers in order, so replies
// do too; the descriptor, a running number, says to which record a reply belongs. A record that
// the daemon never answers (it was restarted, say) is given up when a later one is answered, and
// one that finds no daemon for a second is dropped. One host at a time; others get a NAK.
//
// The other modules hear a record first. One that the source module has to act on before the
// measurement daemon is held until it has, for at most 2 s, and what the host sends after it waits
// behind.
#pragma once

#include <zmq.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "simulator/host_record.h"
#include "simulator/refused_host.h"
#include "simulator/units.h"

namespace simulator {

class Ethb {
 public:
  struct Setup {
    platform::UniqueFd host_listener;  ///< a listening TCP socket, non-blocking
    std::string bus_endpoint;          ///< "tcp://ADDRESS:3088"
    std::uint64_t seed = 0;
    HostRecordListener listener{};     ///< hears each record that is passed on; may be empty
    std::function<bool()> may_pass{};  ///< the record heard last; empty: it always may
  };

  /// Serves until it is destroyed. `clock` and `units` must outlive it.
  Ethb(Setup setup, platform::Clock& clock, Units& units);
  ~Ethb();
  Ethb(const Ethb&) = delete;
  Ethb& operator=(const Ethb&) = delete;

 private:
  class HostLink;

  void Run();
  void Accept(std::unique_ptr<HostLink>& host);
  /// One round for the connected host. False when its connection is over.
  bool Serve(HostLink& host, const zmq_pollitem_t& polled);
  /// False when it is time to stop.
  bool Pause(platform::Nanoseconds duration);
  bool MayPass() const { return !setup_.may_pass || setup_.may_pass(); }

  const Setup setup_;
  platform::Clock& clock_;
  FaultSwitch faults_;
  const platform::UniqueFd stop_;
  std::unique_ptr<void, int (*)(void*)> bus_context_;
  std::vector<RefusedHost> refused_;  ///< of the ethb thread
  std::thread thread_;
};

}  // namespace simulator

// The main module's relays as far as the host's records say: which divider is in front of
// the voltage inputs, and which leads are in use.
//
//   0x17   the dividers, from the relay words of channel 1 and of channel 2
//   0x28   the leads in use, and from those that are energized the divider of both channels
//
// Fault: off (the relays stay as they are).
#pragma once

#include <cstdint>

#include "simulator/host_record.h"
#include "simulator/signal/leads.h"
#include "simulator/signal/voltage_path.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class Tos {
 public:
  /// The references outlive the module.
  Tos(VoltagePath& path, Leads& leads, std::uint64_t seed, Units& units);

  void Hear(HostRecord record);

 private:
  VoltagePath& path_;
  Leads& leads_;
  FaultSwitch faults_;
};

}  // namespace simulator

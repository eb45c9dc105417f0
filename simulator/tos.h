// The main module's relays as far as the host's records say: which divider is in front of
// the voltage inputs.
//
//   0x17   from the relay words of channel 1 and of channel 2
//   0x28   from the leads that are energized; the same for both channels
//
// Fault: off (the relays stay as they are).
#pragma once

#include <cstdint>

#include "simulator/host_record.h"
#include "simulator/signal/voltage_path.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class Tos {
 public:
  /// The references outlive the module.
  Tos(VoltagePath& path, std::uint64_t seed, Units& units);

  void Hear(HostRecord record);

 private:
  VoltagePath& path_;
  FaultSwitch faults_;
};

}  // namespace simulator

// Any bytes as datagrams from the main module: only whole packets of its types change what this
// module knows of the others.
#include <cstdlib>
#include <cstring>

#include "common/msg/records/module_id.h"
#include "common/systemcheck/networkcheck.h"
#include "tests/platform/bare_machine.h"

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

/// A module with an address; 127.0.0.1 means that there is none yet.
class Module : public platform::BareInstrument {
 public:
  std::string HostAddress() override { return "127.0.0.2"; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static platform::MachineInPlace<Module> machine;
  machine.clock.SetAutoAdvance(true);
  static networkcheck module;
  // at a port of its own; answers go to port 0, which nobody has
  static const int ready = module.Init(Msg::MEAS_MODULE, nullptr, nullptr, 0);
  Expect(ready == 0);
  sockaddr_in from{};
  from.sin_family = AF_INET;
  const bool alive = module.IsSOSAlive();
  module.Take({bytes, size}, from);
  Msg::pktinfo_t packet{};
  if (size == sizeof packet) std::memcpy(&packet, bytes, sizeof packet);
  const bool tells = packet.pkttype == Msg::SOS_STATUS && size == sizeof packet;
  Expect(module.IsSOSAlive() == (tells ? packet.status == Msg::SOS_ALIVE : alive));
  return 0;
}

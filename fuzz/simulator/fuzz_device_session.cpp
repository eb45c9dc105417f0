// A connection's packets, one behind the other, each led by two bytes of length.
#include <cassert>
#include <cstdint>

#include "platform/fake_clock.h"
#include "simulator/device_session.h"
#include "simulator/virtual_instrument.h"

namespace wire = platform::wire;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static platform::FakeClock clock;
  static simulator::VirtualInstrument instrument({}, "/nonexistent", clock);
  simulator::OpenFiles files;
  simulator::DeviceSession session(instrument, files);
  std::span rest = std::as_bytes(std::span(data, size));
  while (rest.size() >= 2) {
    const std::size_t length =
        std::to_integer<std::size_t>(rest[0]) | std::to_integer<std::size_t>(rest[1]) << 8;
    rest = rest.subspan(2);
    const auto bytes = rest.first(std::min(length, rest.size()));
    rest = rest.subspan(bytes.size());
    wire::Packet packet;
    if (!wire::Parse(bytes, packet)) continue;
    const auto reply = session.Handle(packet);
    assert(reply.data.size() <= wire::kMaxData);
    assert(reply.value >= 0 || reply.value > -4096);  // an errno
  }
  return 0;
}

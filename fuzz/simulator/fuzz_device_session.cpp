// A connection that has opened one of the devices (the first byte chooses), then its packets, one
// behind the other, each led by two bytes of length.
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
  if (size < 1) return 0;
  static constexpr std::string_view kPaths[] = {"/dev/q5fpga0",         "/sys/fpgaattr/atod_status",
                                                "/sys/fpgaattr/rxfpga", "/dev/none",
                                                "/dev/i2c-1",           "/dev/i2c-2"};
  wire::Packet open;
  open.header.op = wire::Op::kOpen;
  open.header.value = data[0] % 3;  // read, write, both
  const auto path = wire::AsData(kPaths[data[0] / 3 % std::size(kPaths)]);
  open.data.assign(path.begin(), path.end());
  session.Handle(open);
  std::span rest = std::as_bytes(std::span(data + 1, size - 1));
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

// Any line gets one printable line, "ok..." or "error...", from an instrument with all its units.
#include <cassert>
#include <cstdint>
#include <string_view>

#include "platform/fake_clock.h"
#include "simulator/control.h"
#include "simulator/virtual_instrument.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static platform::FakeClock clock;
  static simulator::VirtualInstrument instrument({}, "/nonexistent", clock);
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const std::string answer = simulator::AnswerControlLine(instrument.Units(), line);
  assert(answer.starts_with("ok") || answer.starts_with("error "));
  for (const char c : answer) assert((c >= ' ' && c <= '~') || c == '\t');
  return 0;
}

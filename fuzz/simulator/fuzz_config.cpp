// Any text as q5sim's configuration is refused in one line or makes an instrument within its
// limits.
#include <cassert>
#include <cstdint>
#include <string_view>

#include "simulator/config.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  simulator::Config config;
  const std::string problem =
      simulator::ParseConfig({reinterpret_cast<const char*>(data), size}, config);
  assert(problem.find('\n') == std::string::npos);
  if (!problem.empty()) return 0;
  assert(static_cast<std::size_t>(config.module) < simulator::kModules);
  assert(config.board_revision <= 15 && config.fpga_version <= 4095);
  assert(config.speed > 0 && config.speed <= 1000 && config.line_frequency > 0);
  for (const std::string& address : config.addresses) assert(address.starts_with("127."));
  return 0;
}

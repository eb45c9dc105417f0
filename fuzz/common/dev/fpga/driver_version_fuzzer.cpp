// Any bytes as the driver's version: what is taken is a version, and what follows does not count.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/dev/fpga/driver_version.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const float version = Dev::ParseDriverVersion(text);
  if (version != -1 && !(version >= 0 && version <= 10000)) std::abort();
  if (Dev::ParseDriverVersion(text + "\n") != version) std::abort();
  return 0;
}

// Any bytes as a number file: what is taken is of the ring, and survives being written.
#include <cstdint>
#include <cstdlib>

#include "common/log/number_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Logger;
  const auto numbers = ParseNumberFile({reinterpret_cast<const char*>(data), size});
  if (!numbers) return 0;
  for (const int number : {numbers->at_boot, numbers->next}) {
    if (number < 1 || number > kRingFiles) std::abort();
  }
  const auto again =
      ParseNumberFile(FormatNumberFile(*numbers, static_cast<int>(size % 50), "/d/", "n"));
  if (!again || again->at_boot != numbers->at_boot || again->next != numbers->next) std::abort();
  return 0;
}

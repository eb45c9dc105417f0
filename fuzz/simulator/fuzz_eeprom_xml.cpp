// Any XML is refused or becomes a document; one that can be encoded fits in a chip, and encoding it
// again changes nothing.
#include <cassert>
#include <cstdint>
#include <string_view>
#include <vector>

#include "simulator/calibration/eeprom_document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  simulator::EepromDocument document;
  if (!document.Parse({reinterpret_cast<const char*>(data), size}).empty()) return 0;
  std::vector<std::uint8_t> image;
  if (!document.Encode(image).empty()) return 0;
  assert(image.size() <= 65536);
  const std::string text = document.Text();
  std::vector<std::uint8_t> again;
  const std::string problem = document.Encode(again);
  assert(problem.empty() && again == image && document.Text() == text);
  return 0;
}

// Any image unpacks or says why not; what unpacks can be packed again and comes back the same.
#include <cassert>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/calibration/calibration_record.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string xml;
  if (!simulator::UnpackRecord({data, size}, xml).empty()) {
    xml.assign(reinterpret_cast<const char*>(data), size);
  }
  std::vector<std::uint8_t> image;
  if (!simulator::PackRecord(xml, image).empty()) return 0;
  std::string back;
  const std::string problem = simulator::UnpackRecord(image, back);
  assert(problem.empty() && back == xml);
  return 0;
}

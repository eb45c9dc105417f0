// Any template over any chip: the first 256 bytes are the chip's begin, the rest is the template.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "common/xml/raw_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kImage = 256;
  if (size < kImage) return 0;
  static Dev::EepromBytes chip;
  chip.fill(0x20);
  std::copy_n(data, kImage, chip.begin());
  const char* text = reinterpret_cast<const char*>(data) + kImage;
  for (int kind = 0; kind <= 4; ++kind) {
    auto document = Dev::XmlDocument::Parse({text, size - kImage}, "fuzz");
    if (!document.IsReady()) return 0;
    Dev::RawImage image([](int, int) {});
    if (image.DecodeHeader(Dev::ChipBytes(chip).first(64), document) != 0) continue;
    if (image.AnalyzeHeader() < 0) std::abort();
    if (image.DecodeBody(chip, static_cast<Dev::EepromKind>(kind), document) != 0) continue;
    image.processChksumBlock(chip, document);
  }
  return 0;
}

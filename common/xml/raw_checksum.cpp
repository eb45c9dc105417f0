// Raw images: the checksums of the blocks.
#include <numeric>

#include "common/log/log_line.h"
#include "common/xml/raw_image.h"
#include "common/xml/raw_template.h"

namespace Dev {
namespace {

constexpr int kChecksumBytes = 2;

}  // namespace

int RawImage::CheckField(ChipBytes image, const XmlNode& node, int start) const {
  int shift = 0;
  if (FieldIs(node, "cal_block_checksum")) shift = addr_adj;
  if (FieldIs(node, "sys_block_checksum")) shift = addr_adj + addr_adj_bp;
  const auto addr = node.Number("addr", kLastAddress);
  const auto first = node.Number("checksumStart", kLastAddress);
  const auto last = node.Number("checksumEnd", kLastAddress);
  if (!addr || !first || !last) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: checksum without its addresses\n", node.Line());
    return kBadChip;
  }
  const auto stored = NumberAt(image, start + *addr + shift, kChecksumBytes);
  const int from = start + *first;
  const int to = start + *last + shift;
  if (!stored || to < from || static_cast<std::size_t>(to) >= image.size()) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: checksum beyond the chip\n", node.Line());
    return kBadChip;
  }
  const unsigned sum = std::accumulate(image.begin() + from, image.begin() + to + 1, 0u);
  const unsigned expected = (0u - sum) & 0xFFFF;
  if (*stored == expected) return 0;
  Q5_LOG_ERROR(ee_grpL, "%s: checksum 0x%x of bytes 0x%x to 0x%x, not 0x%x\n",
               node.AttributeOr("name").c_str(), *stored, static_cast<unsigned>(from),
               static_cast<unsigned>(to), expected);
  return kBadChip;
}

int RawImage::processChksumBlock(ChipBytes image, const XmlDocument& document) const {
  for (const XmlNode& node : document.Blocks()) {
    Block block;
    if (FindBlock(node, block) != 0) return kBadChip;
    if (block.start == 0 && !IsHeader(node)) continue;
    for (const XmlNode& field : node.Children("field")) {
      if (FormatOf(field.AttributeOr("format")) != FieldFormat::Check) continue;
      if (CheckField(image, field, block.start) != 0) return kBadChip;
    }
  }
  return 0;
}

}  // namespace Dev

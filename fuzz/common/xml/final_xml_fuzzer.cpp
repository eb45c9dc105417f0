// Any bytes as a final XML file: what is taken is finite and counted.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numeric>

#include "common/xml/final_xml.h"
#include "common/xml/intcal_rows.h"
#include "common/xml/range_rows.h"
#include "common/xml/raw_template.h"

namespace {

void CheckRanges(const Dev::XmlDocument& document, const Dev::RangeLayout& layout) {
  Dev::RangeRows rows{};
  if (Dev::ReadRangeRows(document, layout, "fuzz", rows) != Dev::RangeStep::Done) return;
  const std::size_t counted =
      std::accumulate(rows.counts.begin(), rows.counts.end(), std::size_t{0});
  if (counted != rows.rows.size()) std::abort();
  for (const auto& row : rows.rows) {
    if (!std::isfinite(row.FullScale) || !std::isfinite(row.phase.d)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto document =
      Dev::XmlDocument::Parse({reinterpret_cast<const char*>(data), size}, "fuzz");
  CheckRanges(document, Dev::kChannelLayout);
  CheckRanges(document, Dev::kMainrefLayout);
  Dev::IntcalRows rows{};
  if (Dev::ReadIntcalRows(document, rows)) {
    if (rows.counts[0] + rows.counts[1] != rows.rows.size()) std::abort();
    for (const auto& mask : rows.masks) {
      if (mask.size() >= Dev::kIntcalKeyChars) std::abort();
    }
  }
  const auto text = Dev::processFieldName(document, "sys_serial_num", 64);
  if (text && text->size() >= 64) std::abort();
  Dev::RevisionOf(document, Dev::kBoardCalBlock);
  return 0;
}

// The rows of a channel board's ranges and filters, and of the main reference's dividers, out of a
// final XML file.
//
// Both kinds of file have a block of scales and a block of calibrations. A row is a HEX field (the
// range code, whose tag says what the row is for) with an array of floats behind it, at the same
// position of both blocks.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "common/xml/cal_tables.h"
#include "common/xml/final_xml.h"

namespace Dev {

struct RangeLayout {
  BlockTexts scaling;
  BlockTexts cal;
  std::span<const char* const> tags;  ///< in the order of the rows
  const char* unmatched_count;
  const char* unmatched_code;  ///< takes the file's name
  bool has_full_scale;
};

inline constexpr std::size_t kChannelTags = 5;  ///< the four modes, then the filters
inline constexpr std::size_t kMaxRangeTags = kChannelTags;
inline constexpr std::size_t kFilterTag = kChannelTags - 1;

/// Where reading ended early.
enum class RangeStep : int {
  Done = 0,
  Open = 1,
  ScalingBlock = 2,
  Scaling = 4,
  CalBlock = 7,
  Cal = 8,
  Unmatched = 10,
  Check = 13,  ///< of a file that another module has sent
};

struct RangeRows {
  std::vector<mode_range_table_ent> rows;         ///< those of the first tag first
  std::array<std::size_t, kMaxRangeTags> counts;  ///< rows of each tag
};

extern const RangeLayout kChannelLayout;
extern const RangeLayout kMainrefLayout;

/// Fills `rows`, or leaves it as it is, and logs and returns the step. `name` is the
/// file's.
RangeStep ReadRangeRows(const XmlDocument& document, const RangeLayout& layout, const char* name,
                        RangeRows& rows);

}  // namespace Dev

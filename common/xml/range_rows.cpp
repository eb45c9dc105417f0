#include "common/xml/range_rows.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "common/log/log_line.h"
#include "common/xml/raw_template.h"

namespace Dev {
namespace {

/// Sample counts of full scale.
constexpr double kFullScaleCounts = 8388608.0;

constexpr const char* kChannelTagNames[] = {"range_mode_acdc_i", "range_mode_acdc_v",
                                            "range_mode_dc_v", "range_mode_dcir", "range_filter"};
static_assert(std::size(kChannelTagNames) == kChannelTags);
constexpr const char* kMainrefTagNames[] = {"main_ref_scale_1", "main_ref_scale_2"};

struct ScaleRow {
  std::size_t tag;
  board_scale scale;
};

std::optional<std::size_t> TagIndex(const XmlNode& field, const RangeLayout& layout) {
  const std::string tag = field.AttributeOr("tag");
  const auto found = std::ranges::find(layout.tags, tag);
  if (found == layout.tags.end()) return std::nullopt;
  return static_cast<std::size_t>(found - layout.tags.begin());
}

bool processBrdScalingBlock(const XmlNode& block, const RangeLayout& layout,
                            std::vector<ScaleRow>& rows) {
  std::optional<ScaleRow> row;
  for (const XmlNode& field : block.Children("field")) {
    const std::string format = field.AttributeOr("format");
    if (format == "HEX") {
      row.reset();
      const auto tag = TagIndex(field, layout);
      if (!tag) continue;
      const auto code = ReadCode(field);
      if (!code) return false;
      row = {*tag, {static_cast<int>(*code), {}}};
    } else if (format == "FLOAT32" && row) {
      if (!ReadFloats(field, row->scale.scale)) return false;
      rows.push_back(*std::exchange(row, std::nullopt));
    }
  }
  return true;
}

bool processBrdCalBlock(const XmlNode& block, std::vector<board_cal>& rows) {
  std::optional<board_cal> row;
  for (const XmlNode& field : block.Children("field")) {
    const std::string format = field.AttributeOr("format");
    if (format == "HEX") {
      const auto code = ReadCode(field);
      if (!code) return false;
      row = {static_cast<int>(*code), {}};
    } else if (format == "FLOAT32" && row) {
      if (!ReadFloats(field, row->cal)) return false;
      rows.push_back(*std::exchange(row, std::nullopt));
    }
  }
  return true;
}

bool AreMatched(const std::vector<ScaleRow>& scales, const std::vector<board_cal>& cals,
                const RangeLayout& layout, const char* name) {
  if (scales.size() != cals.size()) {
    Q5_LOG_ERROR(ee_grpL, "%s", layout.unmatched_count);
    return false;
  }
  for (std::size_t i = 0; i < scales.size(); ++i) {
    const int code = scales[i].scale.range_code;
    if (code == cals[i].range_code) continue;
    Q5_LOG_ERROR(ee_grpL, "EEGRP HERE 105a j=%d %x %x\n", static_cast<int>(i),
                 static_cast<unsigned>(code), static_cast<unsigned>(cals[i].range_code));
    Q5_LOG_ERROR(ee_grpL, "%s %s\n", layout.unmatched_code, name);
    return false;
  }
  return true;
}

// The tables are slices of one sequence of rows, so those of one tag must be together.
bool AreInOrder(const std::vector<ScaleRow>& scales, const char* name) {
  if (std::ranges::is_sorted(scales, {}, &ScaleRow::tag)) return true;
  Q5_LOG_ERROR(ee_grpL, "%s: the rows of the modes are mixed\n", name);
  return false;
}

// A range or a divider with an invalid factor makes every reading wrong; filters have no factor.
bool AreFactors(const std::vector<ScaleRow>& scales, const char* name) {
  const auto good = [](const ScaleRow& row) {
    return row.tag == kFilterTag || row.scale.scale[0] > 0;
  };
  const auto bad = std::ranges::find_if_not(scales, good);
  if (bad == scales.end()) return true;
  Q5_LOG_ERROR(ee_grpL, "%s: code %x has the factor %g\n", name,
               static_cast<unsigned>(bad->scale.range_code), double{bad->scale.scale[0]});
  return false;
}

mode_range_table_ent Join(const board_scale& scale, const board_cal& cal, bool has_full_scale) {
  mode_range_table_ent row{};
  row.RangeCode = static_cast<unsigned>(scale.range_code);
  row.ScalingFactor = scale.scale[0];
  row.DcOffset = scale.scale[1];
  if (has_full_scale) row.FullScale = static_cast<float>(row.ScalingFactor * kFullScaleCounts);
  std::copy_n(cal.cal, 4, row.gain.coef);
  std::copy_n(cal.cal + 4, 4, row.phase.coef);
  return row;
}

}  // namespace

constexpr RangeLayout kChannelLayout = {
    {"brd_scaling_block", "XML ERROR: Unable to find scaling block\n",
     "XML ERROR: Unable to find scaling name\n",
     "XML ERROR: node name not available, board scaling\n"},
    {"brd_cal_block", "XML ERROR: Unable to find cal block\n",
     "XML ERROR: Unable to find cal name\n", "XML ERROR: node name not available, board cal\n"},
    kChannelTagNames,
    "XML ERROR: Unmatched number of fields\n",
    "XML ERROR 105: Unable to open",
    true,
};

constexpr RangeLayout kMainrefLayout = {
    {"brd_scaling_block", "XML ERROR: Unable to find mainref scaling block\n",
     "XML ERROR: Unable to find mainref scaling name\n",
     "XML ERROR: node name not available, mainref scaling\n"},
    {"brd_cal_block", "XML ERROR: Unable to find mainref cal block\n",
     "XML ERROR: Unable to find mainref cal name\n",
     "XML ERROR: node name not available, mainref cal\n"},
    kMainrefTagNames,
    "XML ERROR: Unmatched number of fields, mainref\n",
    "XML ERROR 110: Unable to open",
    false,
};

RangeStep ReadRangeRows(const XmlDocument& document, const RangeLayout& layout, const char* name,
                        RangeRows& result) {
  const auto scaling = FindBlock(document, layout.scaling);
  if (!scaling) return RangeStep::ScalingBlock;
  std::vector<ScaleRow> scales;
  if (!processBrdScalingBlock(*scaling, layout, scales) || !AreFactors(scales, name)) {
    return RangeStep::Scaling;
  }
  const auto cal = FindBlock(document, layout.cal);
  if (!cal) return RangeStep::CalBlock;
  std::vector<board_cal> cals;
  if (!processBrdCalBlock(*cal, cals)) return RangeStep::Cal;
  if (!AreMatched(scales, cals, layout, name) || !AreInOrder(scales, name)) {
    return RangeStep::Unmatched;
  }
  RangeRows rows{};
  for (std::size_t i = 0; i < scales.size(); ++i) {
    rows.rows.push_back(Join(scales[i].scale, cals[i], layout.has_full_scale));
    if (!std::isfinite(rows.rows.back().FullScale)) return RangeStep::Scaling;
    ++rows.counts[scales[i].tag];
  }
  result = std::move(rows);
  return RangeStep::Done;
}

}  // namespace Dev

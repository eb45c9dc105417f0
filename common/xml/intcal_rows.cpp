#include "common/xml/intcal_rows.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>

#include "common/log/log_line.h"
#include "common/xml/final_xml.h"
#include "common/xml/raw_template.h"

namespace Dev {
namespace {

constexpr BlockTexts kIntcalTexts = {kSystemCalBlock, "XML ERROR: Unable to find intcal block\n",
                                     "XML ERROR: Unable to find intcal name\n",
                                     "XML ERROR: node name not available, intcal\n"};
constexpr const char* kGroupTags[] = {"intcal_mode_cap", "intcal_mode_res"};
static_assert(std::size(kGroupTags) == IntcalRows::kGroups);

/// The last revision whose block holds no rows.
constexpr int kRevisionWithoutRows = 1;

struct TextAttribute {
  const char* name;
  const char* is_null;
  const char* too_long;
};
constexpr TextAttribute kKey = {"key", " key is NULL \n", " key is more than 63 chars"};
constexpr TextAttribute kSrc = {"src", " src is NULL \n", " src is more than 17 chars"};
constexpr TextAttribute kMeas = {"meas", " meas is NULL \n", " meas is more than 17 chars"};

bool CopyAttribute(const XmlNode& field, const TextAttribute& attribute, std::span<char> to) {
  const auto text = field.Attribute(attribute.name);
  if (!text) {
    Q5_LOG_ERROR(ee_grpL, "%s", attribute.is_null);
    return false;
  }
  if (text->size() >= to.size()) {
    Q5_LOG_ERROR(ee_grpL, "%s %.80s \n", attribute.too_long, text->c_str());
    return false;
  }
  std::ranges::copy(*text, to.begin());
  return true;
}

bool ReadRow(const XmlNode& field, system_cal& row) {
  return CopyAttribute(field, kKey, row.key) && CopyAttribute(field, kSrc, row.src) &&
         CopyAttribute(field, kMeas, row.meas) && ReadFloats(field, row.cal);
}

bool ReadMask(const XmlNode& field, std::string& mask) {
  mask = field.Text();
  if (mask.size() < kIntcalKeyChars) return true;
  Q5_LOG_ERROR(ee_grpL, "line %ld: a mask of %zu characters\n", field.Line(), mask.size());
  return false;
}

mode_intcal_table_ent RowOf(const system_cal& cal) {
  mode_intcal_table_ent row{};
  std::ranges::copy(cal.key, row.key);
  std::ranges::copy(cal.src, row.src);
  std::ranges::copy(cal.meas, row.meas);
  std::copy_n(cal.cal, 4, row.cap.coef);
  std::copy_n(cal.cal + 4, 4, row.phase.coef);
  return row;
}

bool processSysCalBlock(const XmlNode& block, IntcalRows& rows) {
  std::size_t last_group = 0;
  for (const XmlNode& field : block.Children("field")) {
    if (FieldIs(field, kBlockRevision)) {
      int revision = 0;
      if (ReadRevision(field, field.AttributeOr("format"), revision) != 0) return false;
      if (revision <= kRevisionWithoutRows) return true;
    }
    const auto tag = std::ranges::find(kGroupTags, field.AttributeOr("tag"));
    if (tag == std::end(kGroupTags)) continue;
    const auto group = static_cast<std::size_t>(tag - std::begin(kGroupTags));
    const std::string format = field.AttributeOr("format");
    if (format == "ASCII" && !ReadMask(field, rows.masks[group])) return false;
    if (format != "FLOAT32") continue;
    if (std::exchange(last_group, group) > group) {
      Q5_LOG_ERROR(ee_grpL, "line %ld: a capacitance behind resistances\n", field.Line());
      return false;
    }
    system_cal row{};
    if (!ReadRow(field, row)) return false;
    rows.rows.push_back(RowOf(row));
    ++rows.counts[group];
  }
  return true;
}

}  // namespace

bool ReadIntcalRows(const XmlDocument& document, IntcalRows& result) {
  const auto block = FindBlock(document, kIntcalTexts);
  if (!block) return false;
  IntcalRows rows{};
  if (!processSysCalBlock(*block, rows)) return false;
  result = std::move(rows);
  return true;
}

}  // namespace Dev

#include "common/xml/final_xml.h"

#include <cmath>
#include <cstdlib>

#include "common/log/log_line.h"
#include "common/xml/raw_field.h"
#include "common/xml/raw_template.h"

namespace Dev {
namespace {

bool ParseFloat(const std::string& text, float& value) {
  const std::string number(Trimmed(text));
  char* end = nullptr;
  value = std::strtof(number.c_str(), &end);
  return end != number.c_str() && *end == '\0' && std::isfinite(value);
}

void LogText(const char* text) { Q5_LOG_ERROR(ee_grpL, "%s", text); }

}  // namespace

std::optional<XmlNode> FindBlock(const XmlDocument& document, const BlockTexts& texts) {
  const auto blocks = document.Blocks();
  for (const XmlNode& block : blocks) {
    const auto name = block.Attribute("name");
    if (name == texts.name) return block;
    if (!name) {
      LogText(texts.no_node_name);
      return std::nullopt;
    }
  }
  LogText(blocks.empty() ? texts.no_block : texts.no_name);
  return std::nullopt;
}

bool ReadFloats(const XmlNode& field, std::span<float> values) {
  const auto elements = field.Children("e");
  if (elements.size() != values.size()) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: %zu values where %zu are needed\n", field.Line(),
                 elements.size(), values.size());
    return false;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string text = elements[i].Text();
    if (ParseFloat(text, values[i])) continue;
    Q5_LOG_ERROR(ee_grpL, "line %ld: \"%.32s\" is no calibration value\n", elements[i].Line(),
                 text.c_str());
    return false;
  }
  return true;
}

std::optional<unsigned> ReadCode(const XmlNode& field) {
  const std::string text = field.Text();
  const auto code = NumberOf(text, "HEX");
  if (!code) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: \"%.32s\" is no hexadecimal code\n", field.Line(),
                 text.c_str());
  }
  return code;
}

std::optional<std::string> processFieldName(const XmlDocument& document, const char* name,
                                            std::size_t size) {
  for (const XmlNode& block : document.Blocks()) {
    for (const XmlNode& field : block.Children("field")) {
      if (!FieldIs(field, name)) continue;
      const std::string text = field.Text();
      if (field.Attribute("format") == "ASCII" && text.size() < size) return text;
      Q5_LOG_ERROR(ee_grpL, "line %ld: %s is no text below %zu characters\n", field.Line(), name,
                   size);
      return std::nullopt;
    }
  }
  Q5_LOG_ERROR(ee_grpL, "no field %s\n", name);
  return std::nullopt;
}

std::optional<int> RevisionOf(const XmlDocument& document, const char* block_name) {
  for (const XmlNode& block : document.Blocks()) {
    if (block.Attribute("name") != block_name) continue;
    for (const XmlNode& field : block.Children("field")) {
      if (!FieldIs(field, kBlockRevision)) continue;
      int revision = 0;
      if (ReadRevision(field, field.AttributeOr("format"), revision) != 0) return std::nullopt;
      return revision;
    }
  }
  Q5_LOG_ERROR(ee_grpL, "no block %s with a revision\n", block_name);
  return std::nullopt;
}

}  // namespace Dev

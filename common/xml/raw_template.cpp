#include "common/xml/raw_template.h"

#include "common/log/log_line.h"
#include "common/xml/raw_field.h"

namespace Dev {

int ReadShape(const XmlNode& node, FieldShape& shape) {
  const auto format = node.Attribute("format");
  if (!format) {
    Q5_LOG_ERROR(ee_grpL, "INVALID TEMPLATE FILE 300\n");
    return kBadChip;
  }
  shape.format = *format;
  const auto known = FormatOf(*format);
  const auto addr = node.Number("addr", kLastAddress);
  const auto size =
      known == FieldFormat::Float32 ? kFloat32Bytes : node.Number("size", kLastAddress);
  const bool counted = node.Attribute("count").has_value();
  const auto count = counted ? node.Number("count", kLastAddress) : 0;
  if (known && addr && size && *size > 0 && count) {
    shape.addr = *addr;
    shape.size = *size;
    shape.count = *count;
    return 0;
  }
  Q5_LOG_ERROR(ee_grpL,
               "line %ld: field with format \"%.16s\", addr \"%.16s\", size \"%.16s\", count "
               "\"%.16s\"\n",
               node.Line(), format->c_str(), node.AttributeOr("addr").c_str(),
               node.AttributeOr("size").c_str(), node.AttributeOr("count").c_str());
  return kBadChip;
}

int ReadRevision(const XmlNode& node, const std::string& format, int& revision) {
  const std::string text = node.Text();
  const auto number = NumberOf(text, format);
  if (number && *number <= kLastAddress) {
    revision = static_cast<int>(*number);
    return 0;
  }
  Q5_LOG_ERROR(ee_grpL, "line %ld: block revision \"%.16s\"\n", node.Line(), text.c_str());
  return kBadChip;
}

bool IsHeader(const XmlNode& block) { return block.Number("addr", 0).has_value(); }

}  // namespace Dev

// Raw images: the header block, which says where the others are.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "common/log/log_line.h"
#include "common/xml/raw_image.h"
#include "common/xml/raw_template.h"
#include "common/zpubsub/records/xml_post.h"

namespace Dev {
namespace {

constexpr char kNameMark = '*';

std::string_view WithoutMark(std::string_view name) {
  const bool marked = !name.empty() && std::isalpha(static_cast<unsigned char>(name[0])) == 0;
  return marked ? name.substr(1) : name;
}

// A checksum or an invalid number is never the address of a block. What lies behind the largest
// chip counts as its end, so that nothing can be read there.
int AddressIn(const std::string& text, const std::string& format) {
  if (FormatOf(format) == FieldFormat::Check) return 0;
  const std::uint32_t value = NumberOf(text, format).value_or(0);
  return static_cast<int>(std::min<std::uint32_t>(value, kEepromBytes));
}

}  // namespace

int RawImage::Remember(const XmlNode& node, std::size_t index, const std::string& format) {
  const std::string name = kNameMark + node.AttributeOr("name");
  if (index >= HeadPointer::kFields || name.size() >= HeadPointer::kNameChars) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: header field %zu, \"%.80s\": too many or too long a name\n",
                 node.Line(), index, name.c_str());
    return kBadChip;
  }
  auto& place = headpointer.name[index];
  place.fill(0);
  std::ranges::copy(name, place.begin());
  headpointer.val[index] = AddressIn(node.Text(), format);
  return 0;
}

int RawImage::processNodeHeader(XmlNode& node, std::size_t index) {
  FieldShape field;
  if (ReadShape(node, field) != 0) return kBadChip;
  const bool is_revision = FieldIs(node, kBlockRevision);
  if (is_revision && ReadRevision(node, field.format, blockrev) != 0) return kBadChip;
  if (processField(field.addr, field.size, field.format, field.count, node) != 0) return kBadChip;
  if (field.count > 0 && processEnode(node) != 0) return kBadChip;
  if (is_revision) {
    const int chip_revision = static_cast<int>(NumberOf(node.Text(), field.format).value_or(0));
    if (chip_revision != blockrev) return RevisionMismatch(node, chip_revision);
  }
  return Remember(node, index, field.format);
}

int RawImage::DecodeHeader(ChipBytes image, XmlDocument& document) {
  _eebuf = image;
  headpointer = {};
  const auto blocks = document.Blocks();
  const auto header = std::ranges::find_if(blocks, IsHeader);
  if (header == blocks.end()) {
    Q5_LOG_ERROR(ee_grpL, "template without a header block\n");
    return kBadChip;
  }
  std::size_t index = 0;
  for (XmlNode& field : header->Children("field")) {
    const int result = processNodeHeader(field, index++);
    if (result != 0) return result;
  }
  return 0;
}

int RawImage::WriteHeadertoXml(ChipBytes image, const char* template_path, const char* temp_path) {
  XmlDocument document = XmlDocument::Load(template_path);
  if (!document.IsReady()) return kBadChip;
  const int result = DecodeHeader(image, document);
  if (result != 0) return result;
  return document.Save(temp_path);
}

int RawImage::AnalyzeHeader() const {
  const auto last = std::find_if(headpointer.val.rbegin(), headpointer.val.rend(),
                                 [](int value) { return value != 0; });
  return last == headpointer.val.rend() ? 0 : *last;
}

int RawImage::FindBlock(const XmlNode& node, Block& block) const {
  block.name = node.AttributeOr("name");
  block.start = 0;
  const auto address = node.Attribute("addr");
  if (!address) {
    Q5_LOG_ERROR(ee_grpL, "INVALID TEMPLATE FILE 100\n");
    return kBadChip;
  }
  if (IsHeader(node)) return 0;
  for (std::size_t i = 0; i < HeadPointer::kFields; ++i) {
    const std::string_view name = headpointer.name[i].data();
    if (name.empty() || WithoutMark(name) != WithoutMark(*address)) continue;
    block.start = headpointer.val[i];
    return 0;
  }
  Q5_LOG_ERROR(ee_grpL, "INVALID TEMPLATE FILE 200\n");
  return kBadChip;
}

}  // namespace Dev

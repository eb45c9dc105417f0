#include "simulator/calibration/eeprom_document.h"

#include <libxml/parser.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <optional>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::size_t kLongestXml = std::size_t{4} << 20;
constexpr std::size_t kMostBytes = 65536;
constexpr std::size_t kFloatBytes = 4;
constexpr std::size_t kCheckBytes = 2;
constexpr std::size_t kLongestNumber = 4;
constexpr char kHeaderAddress[] = "0";

std::string ToString(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

bool IsElement(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && ToString(node->name) == name;
}

std::string Attribute(const xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
  std::string text = ToString(value);
  xmlFree(value);
  return text;
}

std::string NodeContent(const xmlNode* node) {
  xmlChar* value = xmlNodeGetContent(node);
  std::string text = ToString(value);
  xmlFree(value);
  return text;
}

void SetNodeContent(xmlNode* node, const std::string& text) {
  xmlNodeSetContent(node, reinterpret_cast<const xmlChar*>(text.c_str()));
}

/// A field's attribute as a number; an absent one is 0.
std::string NumberOf(const xmlNode* node, const char* name, std::size_t& out) {
  const std::string text = Attribute(node, name);
  const auto value = text.empty() ? 0 : ParseHexOrDecimal(text, kMostBytes);
  if (!value) return std::string(name) + "=\"" + text + "\" is no number up to 65536";
  out = *value;
  return "";
}

std::string ReadField(xmlNode* node, EepromDocument::Field& field) {
  field.format = Attribute(node, "format");
  field.name = Attribute(node, "name");
  field.tag = Attribute(node, "tag");
  field.node = node;
  const std::pair<const char*, std::size_t*> numbers[] = {{"addr", &field.address},
                                                          {"size", &field.size},
                                                          {"count", &field.count},
                                                          {"checksumStart", &field.check_from},
                                                          {"checksumEnd", &field.check_to}};
  for (const auto& [name, value] : numbers) {
    if (auto problem = NumberOf(node, name, *value); !problem.empty()) {
      return "field " + field.name + ": " + problem;
    }
  }
  if (field.size == 0) return "field " + field.name + ": has no size";
  return "";
}

const xmlNode* FindEeprom(const xmlDoc* document) {
  const xmlNode* root = xmlDocGetRootElement(document);
  if (root == nullptr || !IsElement(root, "File")) return nullptr;
  for (const xmlNode* node = root->children; node != nullptr; node = node->next) {
    if (IsElement(node, "Eeprom")) return node;
  }
  return nullptr;
}

std::vector<xmlNode*> Values(const xmlNode* field) {
  std::vector<xmlNode*> values;
  for (xmlNode* node = field->children; node != nullptr; node = node->next) {
    if (IsElement(node, "e")) values.push_back(node);
  }
  return values;
}

/// Little-endian. Nothing when the value does not fit in `size` bytes.
bool PutNumber(std::uint64_t value, std::size_t size, std::uint8_t* out) {
  for (std::size_t i = 0; i < size; ++i, value >>= 8) out[i] = static_cast<std::uint8_t>(value);
  return value == 0;
}

bool PutValue(const std::string& format, const std::string& text, std::size_t size,
              std::uint8_t* out) {
  if (format == "ASCII") {
    if (text.size() >= size) return false;  // it ends in 0
    std::fill_n(std::ranges::copy(text, out).out, size - text.size(), std::uint8_t{0});
    return true;
  }
  if (format == "FLOAT32") {
    constexpr double kMost = 3.4e38;
    const auto value = ParseReal(text, -kMost, kMost);
    return value && size == kFloatBytes &&
           PutNumber(std::bit_cast<std::uint32_t>(static_cast<float>(*value)), size, out);
  }
  if (size > kLongestNumber) return false;
  if (format != "HEX" && format != "INT8" && format != "INT16") return false;
  const auto value = ParseNumber(text, UINT32_MAX, format == "HEX" ? 16 : 10);
  return value && PutNumber(*value, size, out);
}

}  // namespace

std::string EepromDocument::Parse(std::string_view xml) {
  if (xml.size() > kLongestXml) return "longer than 4 MiB";
  std::unique_ptr<xmlDoc, Free> document(
      xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (document == nullptr) return "not well-formed XML";
  // Entities could blow a small file up; none of ours has any.
  if (document->intSubset != nullptr) return "has a document type declaration";
  const xmlNode* eeprom = FindEeprom(document.get());
  if (eeprom == nullptr) return "no element Eeprom in a root File";
  std::vector<Block> blocks;
  for (xmlNode* node = eeprom->children; node != nullptr; node = node->next) {
    if (!IsElement(node, "block")) continue;
    Block& block = blocks.emplace_back();
    block.name = Attribute(node, "name");
    block.address = Attribute(node, "addr");
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
      if (!IsElement(child, "field")) continue;
      const std::string problem = ReadField(child, block.fields.emplace_back());
      if (!problem.empty()) return "block " + block.name + ", " + problem;
    }
  }
  document_ = std::move(document);
  blocks_ = std::move(blocks);
  return "";
}

std::string EepromDocument::Content(const Field& field) const { return NodeContent(field.node); }

void EepromDocument::SetContent(const Field& field, const std::string& text) {
  SetNodeContent(field.node, text);
}

void EepromDocument::SetValues(const Field& field, const std::vector<float>& values) {
  const std::vector<xmlNode*> nodes = Values(field.node);
  for (std::size_t i = 0; i < std::min(nodes.size(), values.size()); ++i) {
    char text[32];
    std::snprintf(text, sizeof text, "%.14e", static_cast<double>(values[i]));
    SetNodeContent(nodes[i], text);
  }
}

std::string EepromDocument::StartOf(const Block& block, std::size_t& start) const {
  start = 0;
  if (block.address == kHeaderAddress) return "";
  const auto header = std::ranges::find(blocks_, kHeaderAddress, &Block::address);
  if (header == blocks_.end()) return "no header block (addr \"0\")";
  const auto field = std::ranges::find(header->fields, block.address, &Field::name);
  if (field == header->fields.end()) return "no header field " + block.address;
  const auto value = ParseNumber(Content(*field), kMostBytes, field->format == "HEX" ? 16 : 10);
  if (!value || field->format == "CHECK")
    return "header field " + block.address + " holds no address";
  start = *value;
  return "";
}

std::string EepromDocument::EncodeField(const Field& field, std::size_t start,
                                        std::vector<std::uint8_t>& image) const {
  const std::size_t values = std::max<std::size_t>(field.count, 1);
  const std::size_t at = start + field.address;
  if (values > kMostBytes || at + field.size * values > kMostBytes) return "lies beyond 64 KiB";
  if (image.size() < at + field.size * values) image.resize(at + field.size * values, 0xFF);
  std::vector<std::string> texts;
  if (field.count == 0) {
    texts.push_back(Content(field));
  } else {
    for (const xmlNode* node : Values(field.node)) texts.push_back(NodeContent(node));
  }
  if (texts.size() != values) return "has not " + std::to_string(values) + " values";
  for (std::size_t i = 0; i < values; ++i) {
    if (!PutValue(field.format, texts[i], field.size, &image[at + i * field.size])) {
      return "cannot hold \"" + texts[i] + "\" as " + field.format;
    }
  }
  return "";
}

/// The sum of the checked bytes and the stored word is 0 in 16 bits.
void EepromDocument::EncodeCheck(const Field& field, std::size_t start,
                                 std::vector<std::uint8_t>& image) {
  unsigned sum = 0;
  for (std::size_t i = field.check_from; i <= field.check_to; ++i) sum += image[start + i];
  const auto word = static_cast<std::uint16_t>(0U - sum);
  PutNumber(word, kCheckBytes, &image[start + field.address]);
  char text[8];
  std::snprintf(text, sizeof text, "%.4x", static_cast<unsigned>(word));
  SetContent(field, text);
}

std::string EepromDocument::Encode(std::vector<std::uint8_t>& image) {
  image.clear();
  std::vector<std::pair<const Field*, std::size_t>> checks;
  for (const Block& block : blocks_) {
    std::size_t start = 0;
    std::string problem = StartOf(block, start);
    if (!problem.empty()) return "block " + block.name + ": " + problem;
    for (const Field& field : block.fields) {
      if (field.format == "CHECK") {
        checks.emplace_back(&field, start);
        continue;
      }
      problem = EncodeField(field, start, image);
      if (!problem.empty()) return "block " + block.name + ", field " + field.name + ": " + problem;
    }
  }
  for (const auto& [field, start] : checks) {
    const std::size_t end = start + std::max(field->check_to + 1, field->address + kCheckBytes);
    if (field->size != kCheckBytes || end > kMostBytes)
      return "field " + field->name + ": bad check";
    if (image.size() < end) image.resize(end, 0xFF);
  }
  for (const auto& [field, start] : checks) EncodeCheck(*field, start, image);
  return "";
}

std::string EepromDocument::Text() const {
  xmlChar* text = nullptr;
  int size = 0;
  xmlDocDumpMemory(document_.get(), &text, &size);
  std::string result(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
  xmlFree(text);
  return result;
}

}  // namespace simulator

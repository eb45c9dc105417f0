#include "common/xml/xml_document.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"

using Logger::ee_grpL;

namespace Dev {
namespace {

struct FreeText {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using OwnedText = std::unique_ptr<xmlChar, FreeText>;

struct FreeParser {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

const char* ToChars(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

std::string ToString(const OwnedText& text) { return text ? ToChars(text.get()) : ""; }

const xmlChar* ToXml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

const char* NameOf(void* parser) {
  return static_cast<const char*>(static_cast<xmlParserCtxt*>(parser)->_private);
}

// libxml2's messages end with a line feed.
void LogParserError(void* parser, const xmlError* error) {
  std::string text = error->message == nullptr ? "not XML\n" : error->message;
  if (!text.ends_with('\n')) text += '\n';
  Q5_LOG_ERROR(ee_grpL, "%s:%d: %s", NameOf(parser), error->line, text.c_str());
}

// A document type is where entities come from; no calibration file has one.
void RefuseDocumentType(void* parser, const xmlChar*, const xmlChar*, const xmlChar*) {
  Q5_LOG_ERROR(ee_grpL, "%s: a document type is not accepted\n", NameOf(parser));
  auto* context = static_cast<xmlParserCtxt*>(parser);
  xmlStopParser(context);
  context->wellFormed = 0;
}

bool IsElement(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, ToXml(name)) != 0;
}

bool ReadAll(const char* path, std::string& text) {
  const lib::OwnedFile file = lib::OpenFile(path, "rbe", ee_grpL);
  if (!file) return false;
  char chunk[16384];
  while (text.size() <= kMaxXmlBytes) {
    const std::size_t got = std::fread(chunk, 1, sizeof chunk, file.get());
    text.append(chunk, got);
    if (got < sizeof chunk) break;
  }
  if (std::ferror(file.get()) == 0) return true;
  Q5_LOG_ERROR(ee_grpL, "%s: %s\n", path, std::strerror(errno));
  return false;
}

}  // namespace

std::optional<std::string> XmlNode::Attribute(const char* name) const {
  const OwnedText text(xmlGetNoNsProp(node_, ToXml(name)));
  if (!text) return std::nullopt;
  return ToString(text);
}

std::optional<int> XmlNode::Number(const char* name, int last) const {
  const std::string text = AttributeOr(name);
  char* end = nullptr;
  errno = 0;
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  const long value = std::strtol(text.c_str(), &end, hex ? 16 : 10);
  if (text.empty() || *end != '\0' || errno != 0 || value < 0 || value > last) return std::nullopt;
  return static_cast<int>(value);
}

std::vector<XmlNode> XmlNode::Children(const char* name) const {
  std::vector<XmlNode> children;
  for (xmlNode* child = node_->children; child != nullptr; child = child->next) {
    if (IsElement(child, name)) children.emplace_back(child);
  }
  return children;
}

std::string XmlNode::Text() const {
  const OwnedText text(xmlNodeGetContent(node_));
  return ToString(text);
}

void XmlNode::SetText(const std::string& text) {
  xmlNodeSetContent(node_, nullptr);
  xmlNodeAddContent(node_, ToXml(text.c_str()));  // unlike the other, takes '&' and '<' as they are
}

long XmlNode::Line() const { return xmlGetLineNo(node_); }

void XmlDocument::Free::operator()(_xmlDoc* doc) const { xmlFreeDoc(doc); }

XmlDocument XmlDocument::Parse(std::string_view text, const char* name) {
  XmlDocument document;
  if (text.size() > kMaxXmlBytes) {
    Q5_LOG_ERROR(ee_grpL, "%s: longer than %zu bytes\n", name, kMaxXmlBytes);
    return document;
  }
  const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
  if (!parser) return document;
  parser->_private = const_cast<char*>(name);
  parser->sax->serror = [](void* context, xmlError* error) { LogParserError(context, error); };
  parser->sax->internalSubset = RefuseDocumentType;
  document.doc_.reset(xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                                        name, nullptr, XML_PARSE_NONET));
  if (document.doc_) document.state_ = State::Ready;
  return document;
}

XmlDocument XmlDocument::Load(const char* path) {
  std::string text;
  if (ReadAll(path, text)) return Parse(text, path);
  XmlDocument document;
  document.state_ = State::NotOpened;
  return document;
}

std::vector<XmlNode> XmlDocument::Blocks() const {
  xmlNode* root = doc_ ? xmlDocGetRootElement(doc_.get()) : nullptr;
  std::vector<XmlNode> blocks;
  if (root == nullptr || !IsElement(root, "File")) return blocks;
  for (const XmlNode& eeprom : XmlNode(root).Children("Eeprom")) {
    for (const XmlNode& block : eeprom.Children("block")) blocks.push_back(block);
  }
  return blocks;
}

int XmlDocument::Save(const char* path) const {
  xmlChar* memory = nullptr;
  int size = 0;
  xmlDocDumpMemory(doc_.get(), &memory, &size);
  const OwnedText text(memory);
  if (text)
    return lib::WriteText(path, {ToChars(text.get()), static_cast<std::size_t>(size)}, ee_grpL);
  Q5_LOG_ERROR(ee_grpL, "%s: no text can be made of it\n", path);
  return -1;
}

bool FieldIs(const XmlNode& field, std::string_view text) {
  return field.AttributeOr("tag") == text || field.AttributeOr("name") == text;
}

}  // namespace Dev

// The XML of templates and calibration files: the little of libxml2 that this folder needs, held
// safe. Nothing is fetched, a document type (and with it any entity of a file's own) is refused,
// and so is a file that is absurdly large.
//
// What the parser complains of is logged. Threads: a document belongs to one thread.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _xmlDoc;
struct _xmlNode;

namespace Dev {

/// A shipped file has some 60 kB; chips of 64 KiB cannot hold what would need more than this.
inline constexpr std::size_t kMaxXmlBytes = std::size_t{4} * 1024 * 1024;

/// An element of a document, which it must not outlive.
class XmlNode {
 public:
  explicit XmlNode(_xmlNode* node) : node_(node) {}

  std::optional<std::string> Attribute(const char* name) const;
  /// The attribute, or "" if there is none.
  std::string AttributeOr(const char* name) const { return Attribute(name).value_or(""); }
  /// The attribute as a number, decimal or with 0x hexadecimal, if it is one from 0 to `last`.
  std::optional<int> Number(const char* name, int last) const;
  /// The elements called `name` right below this one.
  std::vector<XmlNode> Children(const char* name) const;
  std::string Text() const;
  /// Replaces the content. `text` holds plain characters.
  void SetText(const std::string& text);
  long Line() const;

 private:
  _xmlNode* node_;
};

class XmlDocument {
 public:
  enum class State { Ready, NotOpened, Malformed };

  /// `name` says in the log where the text came from.
  static XmlDocument Parse(std::string_view text, const char* name);
  /// `path` is one of the instrument.
  static XmlDocument Load(const char* path);

  bool IsReady() const { return state_ == State::Ready; }
  State GetState() const { return state_; }
  /// The "block" elements of "/File/Eeprom".
  std::vector<XmlNode> Blocks() const;
  /// 0 or -1.
  int Save(const char* path) const;

 private:
  struct Free {
    void operator()(_xmlDoc* doc) const;
  };

  std::unique_ptr<_xmlDoc, Free> doc_;
  State state_ = State::Malformed;
};

/// True if `text` is the field's tag or its name.
bool FieldIs(const XmlNode& field, std::string_view text);

}  // namespace Dev

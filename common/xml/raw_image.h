// A raw chip image and the template that says what its bytes mean.
//
// A template is the final XML file without the values: blocks of fields, each with its address
// within the block, its size and its format. The header block (`addr` "0") is decoded first: its
// fields hold the start addresses of the other blocks, whose `addr` is the name of such a field.
// Chip and template can be of different revisions; then addresses are shifted, or the template
// cannot be used.
//
// Results: 0; -1: this chip cannot be decoded; -2: the pass over the chips has to stop, and `post`
// has received the reason. Threads: one at a time.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "common/xml/eeprom_chips.h"
#include "common/xml/raw_field.h"
#include "common/xml/xml_document.h"

namespace Dev {

/// The fields of a chip's header.
struct HeadPointer {
  static constexpr std::size_t kFields = 32;
  static constexpr std::size_t kNameChars = 64;

  std::array<std::array<char, kNameChars>, kFields> name;  ///< behind a leading mark
  std::array<int, kFields> val;                            ///< 0 for what cannot be an address
};

/// The array field that is being decoded.
struct eArray {
  int addr;
  int size;
  int cnt;
  std::string format;
};

class RawImage {
 public:
  /// Takes result and fail type as EepromGroup::xml_post_result does.
  using Post = std::function<void(int result, int failtype)>;

  explicit RawImage(Post post) : post_(std::move(post)) {}

  // --- Steps, in this order ---

  /// Decodes the header block of `image` by the template `template_path` into `temp_path`.
  int WriteHeadertoXml(ChipBytes image, const char* template_path, const char* temp_path);
  /// Start address of the chip's last block; 0: there is none, 65535: the chip is blank.
  int AnalyzeHeader() const;
  /// Decodes the other blocks into `final_path` and checks the checksum of each.
  int WritetoFinalXml(ChipBytes image, EepromKind kind, const char* temp_path,
                      const char* final_path);

  // --- The same on documents ---

  int DecodeHeader(ChipBytes image, XmlDocument& document);
  int DecodeBody(ChipBytes image, EepromKind kind, XmlDocument& document);
  /// -1 at the first checksum that is wrong.
  int processChksumBlock(ChipBytes image, const XmlDocument& document) const;

 private:
  // A block's place on the chip.
  struct Block {
    std::string name;
    int start = 0;  ///< 0: the chip does not have it, or it is the header
  };

  int processNodeHeader(XmlNode& node, std::size_t index);
  int Remember(const XmlNode& node, std::size_t index, const std::string& format);
  int DecodeBlock(const XmlNode& node, EepromKind kind);
  int processNode(XmlNode& node, const Block& block, EepromKind kind);
  int processField(int addr, int size, const std::string& format, int count, XmlNode& node);
  int processEnode(const XmlNode& node) const;
  int FitRevisions(const XmlNode& node, const Block& block, EepromKind kind, int chip_revision);
  int RevisionMismatch(const XmlNode& node, int chip_revision) const;
  int FindBlock(const XmlNode& node, Block& block) const;
  int CheckField(ChipBytes image, const XmlNode& node, int start) const;

  Post post_;
  ChipBytes _eebuf;
  HeadPointer headpointer{};
  eArray earray{};
  int blockrev = 0;     ///< the template's revision of the block at hand
  int addr_adj = 0;     ///< shift of addresses within calibration blocks
  int addr_adj_bp = 0;  ///< further shift of the backplane's checksum
  int bpsyscal = 0;     ///< rows seen in an early backplane's calibration block
};

}  // namespace Dev

// The XML form of an EEPROM's contents, and the raw image that it describes.
//
// Root "File", element "Eeprom", elements "block" of elements "field". A block's attribute `addr`
// is "0" for the header, else the name of the header field that holds the block's start address; a
// field's `addr` is relative to its block. An array (`count` above 0) holds an element "e" for each
// value. A document is a template as long as fields are empty.
#pragma once

#include <libxml/tree.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

class EepromDocument {
 public:
  struct Field {
    std::size_t address = 0;  ///< in its block
    std::size_t size = 0;     ///< bytes of one value
    std::size_t count = 0;    ///< values of an array; 0: no array
    std::string format;
    std::string name;
    std::string tag;
    std::size_t check_from = 0;  ///< first and last byte that a CHECK field sums
    std::size_t check_to = 0;
    xmlNode* node = nullptr;  ///< owned by the document
  };
  struct Block {
    std::string name;
    std::string address;
    std::vector<Field> fields;
  };

  /// Empty when `xml` was taken, else what is wrong with it, in one line.
  std::string Parse(std::string_view xml);
  const std::vector<Block>& Blocks() const { return blocks_; }

  std::string Content(const Field& field) const;
  void SetContent(const Field& field, const std::string& text);
  /// Requires as many values as the field's count.
  void SetValues(const Field& field, const std::vector<float>& values);

  /// The raw image; works out the CHECK fields and sets their content. Empty when done, else which
  /// field cannot be encoded and why.
  std::string Encode(std::vector<std::uint8_t>& image);
  std::string Text() const;

 private:
  struct Free {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };

  std::string StartOf(const Block& block, std::size_t& start) const;
  std::string EncodeField(const Field& field, std::size_t start,
                          std::vector<std::uint8_t>& image) const;
  void EncodeCheck(const Field& field, std::size_t start, std::vector<std::uint8_t>& image);

  std::unique_ptr<xmlDoc, Free> document_;
  std::vector<Block> blocks_;
};

}  // namespace simulator

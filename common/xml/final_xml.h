// Finding things in a final XML file. What is missing is logged.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "common/xml/xml_document.h"

namespace Dev {

/// A block and what the log says when a file does not have it.
struct BlockTexts {
  const char* name;
  const char* no_block;      ///< there are no blocks at all
  const char* no_name;       ///< none of that name
  const char* no_node_name;  ///< a block before it has no name
};

std::optional<XmlNode> FindBlock(const XmlDocument& document, const BlockTexts& texts);

/// The values of an array field; false unless there are as many as `values`, all of them finite.
bool ReadFloats(const XmlNode& field, std::span<float> values);

/// The content of a HEX field.
std::optional<unsigned> ReadCode(const XmlNode& field);

/// The text of the first field of that name or tag, which is ASCII and shorter than `size`.
std::optional<std::string> processFieldName(const XmlDocument& document, const char* name,
                                            std::size_t size);

/// The content of the block's field "block_revision".
std::optional<int> RevisionOf(const XmlDocument& document, const char* block_name);

}  // namespace Dev

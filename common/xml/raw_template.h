// What the steps of decoding a raw image share: results, words of the template, and reading the
// attributes of a field.
#pragma once

#include <string>

#include "common/xml/xml_document.h"

namespace Dev {

inline constexpr int kBadChip = -1;
inline constexpr int kStopPass = -2;

inline constexpr char kBlockRevision[] = "block_revision";
inline constexpr char kBlockLength[] = "block_length";
inline constexpr char kBoardCalBlock[] = "brd_cal_block";
inline constexpr char kSystemCalBlock[] = "sys_cal_block";
inline constexpr int kLastAddress = 0xFFFF;

/// A field's attributes, checked.
struct FieldShape {
  int addr = 0;   ///< within its block
  int size = 0;   ///< of one value
  int count = 0;  ///< above 0: an array of so many
  std::string format;
};

/// 0, or -1 and a line in the log, when an attribute is missing or absurd.
int ReadShape(const XmlNode& node, FieldShape& shape);
/// The content of a field "block_revision". 0, or -1 and a line in the log, when it has none.
int ReadRevision(const XmlNode& node, const std::string& format, int& revision);
/// True for the block at the chip's begin.
bool IsHeader(const XmlNode& block);

}  // namespace Dev

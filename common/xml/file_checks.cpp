#include "common/xml/file_checks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <numeric>

#include "common/log/log_line.h"
#include "common/xml/final_xml.h"
#include "common/xml/raw_field.h"
#include "common/xml/raw_template.h"

namespace Dev {
namespace {

constexpr std::array<const char*, 2> kCheckedBlocks{"brd_scaling_block", "brd_cal_block"};

/// What a chip may end a text with. The XML does not say, nor whether an older chip has the text.
constexpr int kTextEnds[] = {0, '\r', '\n'};
constexpr unsigned kWord = 0xFFFF;

/// A block's bytes at their addresses; the number bytes apart from those of texts.
struct Bytes {
  std::vector<unsigned> numbers = std::vector<unsigned>(kLastAddress + 1);
  std::vector<unsigned> texts = std::vector<unsigned>(kLastAddress + 1);
  std::vector<std::size_t> text_ends;
};

void PutNumber(Bytes& bytes, std::size_t address, std::uint32_t value, int size) {
  for (int i = 0; i < size && address < bytes.numbers.size(); ++i, ++address) {
    bytes.numbers[address] = i < 4 ? value >> 8 * i & 0xFF : 0;
  }
}

void PutText(Bytes& bytes, std::size_t address, const std::string& text, int size) {
  const auto length = std::min(text.size(), static_cast<std::size_t>(size));
  for (std::size_t i = 0; i < length && address + i < bytes.texts.size(); ++i) {
    bytes.texts[address + i] = static_cast<unsigned char>(text[i]);
  }
  if (length < static_cast<std::size_t>(size)) bytes.text_ends.push_back(address + length);
}

// False for a field that no chip has.
bool PutField(Bytes& bytes, const XmlNode& field) {
  FieldShape shape;
  if (ReadShape(field, shape) != 0) return false;
  const auto address = static_cast<std::size_t>(shape.addr);
  const auto format = FormatOf(shape.format);
  if (format == FieldFormat::Ascii) {
    PutText(bytes, address, field.Text(), shape.size);
    return true;
  }
  if (format != FieldFormat::Float32) {
    const auto number = NumberOf(field.Text(), shape.format);
    if (number) PutNumber(bytes, address, *number, shape.size);
    return number.has_value();
  }
  std::vector<float> values(field.Children("e").size());
  if (!ReadFloats(field, values)) return false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    PutNumber(bytes, address + i * kFloat32Bytes, std::bit_cast<std::uint32_t>(values[i]),
              kFloat32Bytes);
  }
  return true;
}

bool CheckHolds(const Bytes& bytes, const XmlNode& field) {
  const auto first = field.Number("checksumStart", kLastAddress);
  const auto last = field.Number("checksumEnd", kLastAddress);
  const auto stored = NumberOf(field.Text(), "CHECK");
  if (!first || !last || *last < *first || !stored) return false;
  const auto sum = [&](const std::vector<unsigned>& of) {
    return std::accumulate(of.begin() + *first, of.begin() + *last + 1, 0u);
  };
  const unsigned numbers = sum(bytes.numbers);
  if (((*stored + numbers) & kWord) == 0) return true;
  const auto ends = std::ranges::count_if(bytes.text_ends, [&](std::size_t end) {
    return static_cast<int>(end) >= *first && static_cast<int>(end) <= *last;
  });
  const unsigned all = *stored + numbers + sum(bytes.texts);
  return std::ranges::any_of(kTextEnds, [&](int end) {
    return ((all + static_cast<unsigned>(ends) * static_cast<unsigned>(end)) & kWord) == 0;
  });
}

// The number of CHECKs that hold; -1 when one does not.
int ChecksOf(const XmlNode& block) {
  Bytes bytes;
  const auto fields = block.Children("field");
  if (!std::ranges::all_of(fields, [&](const XmlNode& f) { return PutField(bytes, f); })) return -1;
  int checks = 0;
  for (const XmlNode& field : fields) {
    if (FormatOf(field.AttributeOr("format")) != FieldFormat::Check) continue;
    if (!CheckHolds(bytes, field)) return -1;
    ++checks;
  }
  return checks;
}

}  // namespace

bool ChecksHold(const XmlDocument& document, const char* name) {
  for (const XmlNode& block : document.Blocks()) {
    const std::string block_name = block.AttributeOr("name");
    const int checks = ChecksOf(block);
    if (checks > 0) continue;
    if (checks == 0 && std::ranges::find(kCheckedBlocks, block_name) == kCheckedBlocks.end())
      continue;
    Q5_LOG_ERROR(ee_grpL, "%s: the checksum of %s %s\n", name, block_name.c_str(),
                 checks == 0 ? "is missing" : "does not hold");
    return false;
  }
  return true;
}

}  // namespace Dev

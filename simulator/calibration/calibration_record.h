// The compressed record in a calibration EEPROM: an 11-byte header, then the XML file as a zlib
// stream.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

inline constexpr std::size_t kRecordHeaderBytes = 11;

/// Empty when done, else why not, in one line: an XML that does not fit in a chip.
std::string PackRecord(std::string_view xml, std::vector<std::uint8_t>& image);
/// Empty when done, else what is wrong with the image. What follows the record is ignored.
std::string UnpackRecord(std::span<const std::uint8_t> image, std::string& xml);

}  // namespace simulator

// "q5sim eeprom": turns XML files into images of calibration chips, and back.
#pragma once

#include <string>

namespace simulator {

enum class ImageForm { kCompressed, kRaw };

/// Writes the image of the XML file `xml`. Empty when done, else why not, in one line. A raw image
/// needs every field to hold a value; checksums are worked out.
std::string PackFile(const std::string& xml, const std::string& image, ImageForm form);
/// Writes the XML that the compressed record `image` holds.
std::string UnpackFile(const std::string& image, const std::string& xml);

}  // namespace simulator

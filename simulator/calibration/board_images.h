// What the EEPROMs of the boards hold when the instrument starts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/calibration/channel_hardware.h"
#include "simulator/calibration/eeprom_document.h"

namespace simulator {

/// Sets the text fields that `fields` names. Empty when done, else the missing field.
std::string FillFields(const BoardFields& fields, EepromDocument& document);
/// Sets the fields and every row of ranges and filters. Empty when done, else what does not fit.
std::string FillCalibration(const ChannelHardware& hardware, EepromDocument& document);

/// The image in the form that the configuration names: "raw", "compressed", "blank", or the path of
/// a file that is the image. `document` is a filled template. Empty when done, else why not.
std::string MakeImage(std::string_view form, EepromDocument& document,
                      std::vector<std::uint8_t>& image);

}  // namespace simulator

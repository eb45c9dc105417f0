// The files that an instrument is shipped with, as in simulator/files/, and what its hardware is,
// as in simulator/calibration/.
#pragma once

#include <span>
#include <string_view>

namespace simulator {

struct SampleFile {
  const char* path;  ///< on the instrument
  const char* text;
};

std::span<const SampleFile> SampleFiles();
/// The text of the sample file with that path on the instrument. Requires one.
std::string_view ShippedFile(std::string_view path);
/// A source under simulator/calibration/ by its name there. Requires one.
std::string_view ShippedSource(std::string_view name);

}  // namespace simulator

// The configuration files that an instrument is shipped with, as in simulator/files/.
#pragma once

#include <span>

namespace simulator {

struct SampleFile {
  const char* path;  ///< on the instrument
  const char* text;
};

std::span<const SampleFile> SampleFiles();

}  // namespace simulator

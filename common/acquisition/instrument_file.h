// Files that acquisition keeps open from its start, by their paths on the instrument.
#pragma once

#include <string>

#include "platform/unique_fd.h"

namespace acquisition {

/// When a write reaches the disk.
enum class Writes { kAtOnce, kInTime };

/// Makes or empties the file. Without a descriptor, errno says why.
platform::UniqueFd CreateInstrumentFile(const char* path, Writes writes = Writes::kAtOnce);
/// Replaces the contents by `text`; false when the file did not take all of it.
bool ReplaceContents(int fd, const std::string& text);

}  // namespace acquisition

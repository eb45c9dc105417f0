// Files that acquisition keeps open from its start, by their paths on the instrument.
#pragma once

#include <string>

#include "platform/unique_fd.h"

namespace acquisition {

/// Makes or empties the file; writes go to the disk at once. Without a descriptor, errno tells why.
platform::UniqueFd CreateInstrumentFile(const char* path);
/// Replaces the contents by `text`; false when the file did not take all of it.
bool ReplaceContents(int fd, const std::string& text);

}  // namespace acquisition

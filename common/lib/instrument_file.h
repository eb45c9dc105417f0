// Files of the instrument, by their paths there. A function that takes a log module logs the reason
// of a failure under it; without one, errno contains the reason.
#pragma once

#include <cstdio>
#include <string_view>

#include "platform/output_file.h"

namespace lib {

using OwnedFile = platform::Stream;

/// As fopen. Null on failure.
OwnedFile OpenFile(const char* path, const char* mode, int log_module);
/// Closes `file`. 0, or -1 when a part of what was written is lost.
int CloseWritten(OwnedFile file, const char* path, int log_module);
/// A missing file is no failure.
void RemoveFile(const char* path, int log_module);
/// Adds `text` to the end of the file, which is made if it is missing. 0 or -1.
int AppendText(const char* path, std::string_view text, int log_module);
/// Makes `text` the content of the file. 0 or -1.
int WriteText(const char* path, std::string_view text, int log_module);

// --- Files that stay open ---

/// When a write reaches the disk.
enum class Writes { kAtOnce, kInTime };

/// Makes or empties the file, also in place of a symbolic link.
platform::UniqueFd CreateFile(const char* path, Writes writes = Writes::kAtOnce);
/// Replaces the contents by `text`; false when the file did not take all of it.
bool ReplaceContents(int fd, std::string_view text);

}  // namespace lib

// Files of the instrument as this room opens them.
#pragma once

#include <cstdio>
#include <string_view>

#include "platform/output_file.h"

namespace Dev {

using OwnedFile = platform::Stream;

/// As fopen, `path` being one of the instrument. Null, told in the log, on failure.
OwnedFile OpenFile(const char* path, const char* mode);
/// Closes `file`; 0, or -1, told in the log, when what was written has not all got there.
int CloseWritten(OwnedFile file, const char* path);
/// A file that is not there is no failure.
void RemoveFile(const char* path);
/// Adds `text` to the end of the file, which is made if it is missing. 0, or -1 told in the log.
int AppendText(const char* path, std::string_view text);
/// Makes `text` the content of the file.
int WriteText(const char* path, std::string_view text);

}  // namespace Dev

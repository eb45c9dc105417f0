// The one way in which the daemon opens a file of the instrument to write it.
//
// The daemon runs with all rights, and some of its files are in directories that everybody may
// write: a symbolic link at the place of a file is refused (ELOOP) and logged, so that nobody can
// make the daemon overwrite what the link names. Links in the directories above are followed. The
// descriptor is not inherited by commands, and a pipe at the place of a file never blocks.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string_view>

#include "platform/unique_fd.h"

namespace platform {

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

/// As open(2); `path` is the instrument's. Without a descriptor errno says why.
UniqueFd OpenToWrite(std::string_view path, int flags, mode_t mode = 0644);
/// As fopen(3), for reading too.
Stream OpenStream(std::string_view path, std::string_view mode);

}  // namespace platform

// Plain copies and reads of the log's files.
//
// Paths are the instrument's own ("/media/..."); they are mapped to this machine here.
// Errors: -1 or nothing, with errno set. Threads: any, on files of their own.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

#include "platform/unique_fd.h"

namespace Logger {

/// Not blocking: the name of a pipe must not hold up the log.
platform::UniqueFd OpenToRead(const std::string& path);

/// Bytes of an open file, from `begin` to `end` or where the file ends; its position stays where it
/// is.
struct Extent {
  int fd = -1;
  off_t begin = 0;
  off_t end = std::numeric_limits<off_t>::max();
};

/// Copies `from` over `to`. After a failure `to` is removed rather than torn.
int FileCopy(const Extent& from, const std::string& to);
/// Appends `from` to `to`, which is made when missing. After a failure `to` is as it was.
int CatTwoFiles(const std::string& from, const std::string& to);
int CatTwoFiles(const Extent& from, const std::string& to);

/// The whole of an open file; nothing when it cannot be read, is no regular file (EINVAL) or has
/// more than `limit` bytes (EFBIG).
std::optional<std::string> ReadText(int fd, std::size_t limit);
std::optional<std::string> ReadText(const std::string& path, std::size_t limit);
/// Replaces `path` by `text`.
int WriteText(const std::string& path, const std::string& text);

}  // namespace Logger

// Plain copies and reads of the log's files.
//
// Paths are the instrument's own ("/media/..."); they are mapped to this machine here.
// Errors: -1 or nothing, with errno set. Threads: any, on files of their own.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Logger {

/// Copies `from` over `to`. After a failure `to` is gone rather than torn.
int FileCopy(const std::string& from, const std::string& to);
/// The same from an open file, read from its start; its position stays where it is.
int FileCopy(int from, const std::string& to);
/// Appends `from` to `to`, which is made when missing. After a failure `to` is as it was.
int CatTwoFiles(const std::string& from, const std::string& to);

/// The whole of an open file; nothing when it cannot be read, is no regular file (EINVAL) or has
/// more than `limit` bytes (EFBIG).
std::optional<std::string> ReadText(int fd, std::size_t limit);
std::optional<std::string> ReadText(const std::string& path, std::size_t limit);
/// Replaces `path` by `text`.
int WriteText(const std::string& path, const std::string& text);

}  // namespace Logger

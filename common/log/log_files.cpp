#include "common/log/log_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "platform/backend.h"
#include "platform/output_file.h"

namespace Logger {
namespace {

using platform::UniqueFd;

constexpr std::size_t kCopyBytes = std::size_t{64} * 1024;

bool WriteWhole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = ::write(fd, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

// To the position of `to`.
bool CopyBytes(const Extent& from, int to) {
  std::vector<char> buffer(kCopyBytes);
  off_t position = from.begin;
  for (;;) {
    const off_t wanted = std::min(from.end - position, static_cast<off_t>(kCopyBytes));
    const ssize_t n = ::pread(from.fd, buffer.data(), static_cast<std::size_t>(wanted), position);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return n == 0;
    if (!WriteWhole(to, {buffer.data(), static_cast<std::size_t>(n)})) return false;
    position += n;
  }
}

// Some file systems report a full disk only here.
bool Close(UniqueFd& fd) { return ::close(fd.Release()) == 0; }

// What the failure left is removed without losing its errno.
int Undo(const std::string& path) {
  const int error = errno;
  ::unlink(platform::Machine().Path(path).c_str());
  errno = error;
  return -1;
}

}  // namespace

UniqueFd OpenToRead(const std::string& path) {
  return UniqueFd(
      ::open(platform::Machine().Path(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

int FileCopy(const Extent& from, const std::string& to) {
  UniqueFd target = platform::OpenToWrite(to, O_WRONLY | O_CREAT | O_TRUNC);
  if (!target) return -1;
  if (!CopyBytes(from, target.Get()) || !Close(target)) return Undo(to);
  return 0;
}

int CatTwoFiles(const std::string& from, const std::string& to) {
  const UniqueFd source = OpenToRead(from);
  return source ? CatTwoFiles(Extent{source.Get()}, to) : -1;
}

int CatTwoFiles(const Extent& from, const std::string& to) {
  const UniqueFd target = platform::OpenToWrite(to, O_WRONLY | O_CREAT | O_APPEND);
  struct stat before {};
  if (!target || ::fstat(target.Get(), &before) != 0) return -1;
  if (CopyBytes(from, target.Get()) && ::fsync(target.Get()) == 0) return 0;
  const int error = errno;
  if (::ftruncate(target.Get(), before.st_size) != 0) return -1;
  errno = error;
  return -1;
}

std::optional<std::string> ReadText(int fd, std::size_t limit) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return std::nullopt;
  }
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) return text;
    text.append(buffer, static_cast<std::size_t>(n));
    if (text.size() > limit) {
      errno = EFBIG;
      return std::nullopt;
    }
  }
}

std::optional<std::string> ReadText(const std::string& path, std::size_t limit) {
  const UniqueFd fd = OpenToRead(path);
  return fd ? ReadText(fd.Get(), limit) : std::nullopt;
}

int WriteText(const std::string& path, const std::string& text) {
  UniqueFd fd = platform::OpenToWrite(path, O_WRONLY | O_CREAT | O_TRUNC);
  return fd && WriteWhole(fd.Get(), text) && Close(fd) ? 0 : -1;
}

}  // namespace Logger

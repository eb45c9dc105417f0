#include "platform/output_file.h"

#include <cerrno>
#include <string>

#include "platform/backend.h"
#include "platform/log_hook.h"

namespace platform {
namespace {

int FlagsOf(std::string_view mode) {
  const int access = mode.find('+') == mode.npos ? O_WRONLY : O_RDWR;
  switch (mode.front()) {
    case 'w':
      return access | O_CREAT | O_TRUNC;
    case 'a':
      return access | O_CREAT | O_APPEND;
    default:
      return access;
  }
}

}  // namespace

UniqueFd OpenToWrite(std::string_view path, int flags, mode_t mode) {
  constexpr int kAlways = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const std::string here = Machine().Path(path);
  UniqueFd fd(::open(here.c_str(), flags | kAlways, mode));
  if (!fd && errno == ELOOP) {
    log_hook.Insist("%s is a symbolic link: not written\n", here.c_str());
    errno = ELOOP;
  }
  return fd;
}

Stream OpenStream(std::string_view path, std::string_view mode) {
  const std::string text(mode);
  if (mode.starts_with('r') && mode.find('+') == mode.npos) {
    return Stream(std::fopen(Machine().Path(path).c_str(), text.c_str()));
  }
  UniqueFd fd = OpenToWrite(path, FlagsOf(mode));
  if (!fd) return nullptr;
  Stream stream(::fdopen(fd.Get(), text.c_str()));
  if (stream) fd.Release();
  return stream;
}

}  // namespace platform

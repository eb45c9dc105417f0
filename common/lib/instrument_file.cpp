#include "common/lib/instrument_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace lib {
namespace {

void LogErrno(const char* path, int log_module) {
  Logger::logger_mgr::print(log_module, Logger::kError, 0, "%s: %s\n", path, std::strerror(errno));
}

int Put(const char* path, const char* mode, std::string_view text, int log_module) {
  OwnedFile file = OpenFile(path, mode, log_module);
  if (!file) return -1;
  std::fwrite(text.data(), 1, text.size(), file.get());  // CloseWritten reports a failure
  return CloseWritten(std::move(file), path, log_module);
}

}  // namespace

OwnedFile OpenFile(const char* path, const char* mode, int log_module) {
  OwnedFile file = platform::OpenStream(path, mode);
  if (!file) LogErrno(path, log_module);
  return file;
}

int CloseWritten(OwnedFile file, const char* path, int log_module) {
  const bool failed = std::ferror(file.get()) != 0;
  if (std::fclose(file.release()) == 0 && !failed) return 0;
  LogErrno(path, log_module);
  return -1;
}

void RemoveFile(const char* path, int log_module) {
  const std::string name = platform::Machine().Path(path);
  if (std::remove(name.c_str()) != 0 && errno != ENOENT) LogErrno(path, log_module);
}

int AppendText(const char* path, std::string_view text, int log_module) {
  return Put(path, "abe", text, log_module);
}

int WriteText(const char* path, std::string_view text, int log_module) {
  return Put(path, "wbe", text, log_module);
}

platform::UniqueFd CreateFile(const char* path, Writes writes) {
  const int sync = writes == Writes::kAtOnce ? O_SYNC : 0;
  const int flags = O_RDWR | O_CREAT | O_TRUNC | sync;
  platform::UniqueFd fd = platform::OpenToWrite(path, flags);
  // a link that somebody has left there must not keep the instrument from measuring
  if (!fd && errno == ELOOP && ::unlink(platform::Machine().Path(path).c_str()) == 0) {
    fd = platform::OpenToWrite(path, flags);
  }
  return fd;
}

bool ReplaceContents(int fd, std::string_view text) {
  const bool emptied = ::ftruncate(fd, 0) == 0;
  ::lseek(fd, 0, SEEK_SET);
  return ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && emptied;
}

}  // namespace lib

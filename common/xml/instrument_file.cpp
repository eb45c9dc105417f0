#include "common/xml/instrument_file.h"

#include <cerrno>
#include <cstring>

#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Dev {
namespace {

void LogErrno(const char* path) {
  Logger::logger_mgr::print(Logger::ee_grpL, Logger::kError, 0, "%s: %s\n", path,
                            std::strerror(errno));
}

int Put(const char* path, const char* mode, std::string_view text) {
  OwnedFile file = OpenFile(path, mode);
  if (!file) return -1;
  std::fwrite(text.data(), 1, text.size(), file.get());  // CloseWritten tells of a failure
  return CloseWritten(std::move(file), path);
}

}  // namespace

OwnedFile OpenFile(const char* path, const char* mode) {
  OwnedFile file = platform::OpenStream(path, mode);
  if (!file) LogErrno(path);
  return file;
}

int CloseWritten(OwnedFile file, const char* path) {
  const bool failed = std::ferror(file.get()) != 0;
  if (std::fclose(file.release()) == 0 && !failed) return 0;
  LogErrno(path);
  return -1;
}

void RemoveFile(const char* path) {
  const std::string name = platform::Machine().Path(path);
  if (std::remove(name.c_str()) != 0 && errno != ENOENT) LogErrno(path);
}

int AppendText(const char* path, std::string_view text) { return Put(path, "abe", text); }

int WriteText(const char* path, std::string_view text) { return Put(path, "wbe", text); }

}  // namespace Dev

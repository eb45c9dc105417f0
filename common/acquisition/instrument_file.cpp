#include "common/acquisition/instrument_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/backend.h"
#include "platform/output_file.h"

namespace acquisition {

platform::UniqueFd CreateInstrumentFile(const char* path, Writes writes) {
  const int sync = writes == Writes::kAtOnce ? O_SYNC : 0;
  const int flags = O_RDWR | O_CREAT | O_TRUNC | sync;
  platform::UniqueFd fd = platform::OpenToWrite(path, flags);
  // a link that somebody has left there must not keep the instrument from measuring
  if (!fd && errno == ELOOP && ::unlink(platform::Machine().Path(path).c_str()) == 0) {
    fd = platform::OpenToWrite(path, flags);
  }
  return fd;
}

bool ReplaceContents(int fd, const std::string& text) {
  const bool emptied = ::ftruncate(fd, 0) == 0;
  ::lseek(fd, 0, SEEK_SET);
  return ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && emptied;
}

}  // namespace acquisition

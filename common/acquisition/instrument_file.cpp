#include "common/acquisition/instrument_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/backend.h"

namespace acquisition {

platform::UniqueFd CreateInstrumentFile(const char* path, Writes writes) {
  const int sync = writes == Writes::kAtOnce ? O_SYNC : 0;
  constexpr mode_t kMode = 0644;
  return platform::UniqueFd(::open(platform::Machine().Path(path).c_str(),
                                   O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | sync, kMode));
}

bool ReplaceContents(int fd, const std::string& text) {
  const bool emptied = ::ftruncate(fd, 0) == 0;
  ::lseek(fd, 0, SEEK_SET);
  return ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && emptied;
}

}  // namespace acquisition

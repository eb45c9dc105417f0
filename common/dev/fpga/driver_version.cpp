#include "common/dev/fpga/driver_version.h"

#include <fcntl.h>

#include <charconv>
#include <cmath>

#include "common/log/log_line.h"
#include "platform/backend.h"
#include "platform/fpga_driver.h"

namespace Dev {

namespace {

constexpr float kHighestVersion = 10000;  // anything above is no version
constexpr float kNoVersion = -1;

// Owns a descriptor of the machine.
class File {
 public:
  explicit File(const char* path) : fd_(platform::Machine().Open(path, O_RDONLY)) {}
  ~File() {
    if (fd_ >= 0) platform::Machine().Close(fd_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int Get() const { return fd_; }

 private:
  const int fd_;
};

}  // namespace

float ParseDriverVersion(std::string_view text) {
  float version = kNoVersion;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), version, std::chars_format::fixed);
  // also false for a NaN
  const bool good = error == std::errc{} && version >= 0 && version <= kHighestVersion;
  return good ? version : kNoVersion;
}

float GetQ5FPGADriverVersion() {
  const File file(kDriverVersionPath);
  if (file.Get() < 0) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d Error opening %s to determine Q5 FPGA Driver Version\n",
                      kDriverVersionPath);
    return 0;
  }
  char text[32] = {};
  const ssize_t size = platform::Machine().Read(file.Get(), text, sizeof text - 1);
  if (size < 0) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d Error reading %s to determine Q5 FPGA Driver Version\n",
                      kDriverVersionPath);
    return 0;
  }
  const float version = ParseDriverVersion({text, static_cast<std::size_t>(size)});
  if (version >= 0) return version;
  Q5_LOG_ERROR_HERE(
      fpgaL, "%s.%d Error converting version string %s to determine Q5 FPGA Driver Version\n",
      text);
  return 0;
}

unsigned DriverVersionNumber() {
  return static_cast<unsigned>(std::lround(double{GetQ5FPGADriverVersion()} * 100));
}

}  // namespace Dev

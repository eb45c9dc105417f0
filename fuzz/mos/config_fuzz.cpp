// Any bytes as the daemon's configuration file: it is refused or every value is within its limits.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <libconfig.h++>
#include <string>
#include <string_view>

#include "mos/daemon_config.h"

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

// The file's own name; the board's paths are those of this machine.
const std::string& Path(int file) {
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  return path;
}

}  // namespace

// The library's scanner loses a few bytes when it gives up inside a text; the daemon parses once.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // the reports of a bad file are not to be read
  return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  // an include would read other files of this machine
  if (std::string_view(reinterpret_cast<const char*>(bytes), size).find("@include") !=
      std::string_view::npos) {
    return -1;
  }
  static const int file = ::memfd_create("config", MFD_CLOEXEC);
  Expect(::ftruncate(file, 0) == 0 && ::pwrite(file, bytes, size, 0) == static_cast<ssize_t>(size));

  libconfig::Config config;
  const int result = Mos::InitConfigFile(config, Path(file).c_str());
  Expect(result == 0 || config.getRoot().getLength() == 0);
  Msg::HMPData data(config, Msg::MEAS_MODULE);
  const Mos::DaemonConfig own = Mos::SetConfigParameters(config, data);
  Expect(data.GetHVScaleFactor() > 0 && data.currentfudgefactor > 0 && data.voltagefudgefactor > 0);
  Expect(data.GetBlockReadyInterrupts() > 0 && data.GetVLFBlockReadyInterrupts() > 0);
  Expect(data.GetConsumerBacklog() > 0 && own.maxhvvoltagemeasurement > 0);
  Expect(data.progresstimeout >= 10 && data.progresstimeout <= 12000);
  return 0;
}

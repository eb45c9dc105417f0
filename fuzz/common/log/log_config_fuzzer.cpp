// Any bytes as the log's configuration, for each daemon.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/log/log_config.h"

// The library's parser loses the texts it holds when it gives up; a broken file is read once for
// each change. All other leaks count.
extern "C" const char* __lsan_default_suppressions() { return "leak:libconfig++.so"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Logger;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const int owner : {kMainOwner, kMeasOwner, kSourceOwner}) {
    LogConfigError error;
    const auto settings = ParseLogConfig(text, "/nonexistent", owner, error);
    if (!settings && error.text.empty()) std::abort();
    if (settings && settings->rotateSize <= 0) std::abort();
  }
  return 0;
}

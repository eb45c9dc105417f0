#include "common/log/build_info.h"

#include "common/log/logger_mgr.h"

void PrintBuildInfo(std::FILE* stream) {
  if (stream == nullptr) {
    Logger::logger_mgr::print(Logger::mainL, Logger::kError, 0,
                              "Could not print the build information \n");
    return;
  }
  std::fprintf(stream, "%s\n%s\n%s\n", hgrev, hgsumm, hgbranch);
}

#include "common/log/build_info.h"

#include "common/log/log_line.h"

void PrintBuildInfo(std::FILE* stream) {
  if (stream == nullptr) {
    Q5_LOG_ERROR(mainL, "Could not print the build information \n");
    return;
  }
  std::fprintf(stream, "%s\n%s\n%s\n", hgrev, hgsumm, hgbranch);
}

#include "mos/process_limits.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/log/logger_mgr.h"

namespace Mos {
namespace {

constexpr rlim_t kDescriptors = 4096;

}  // namespace

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const rlim_t wanted = std::min(limit.rlim_max, kDescriptors);
  if (limit.rlim_cur >= wanted) return;
  limit.rlim_cur = wanted;
  if (::setrlimit(RLIMIT_NOFILE, &limit) == 0) return;
  Logger::logger_mgr::print(Logger::mainL, Logger::kWarning, 0, "cannot raise RLIMIT_NOFILE: %s\n",
                            std::strerror(errno));
}

}  // namespace Mos

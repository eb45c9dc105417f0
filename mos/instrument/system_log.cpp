#include "mos/instrument/system_log.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

#include "platform/backend.h"

namespace Mos {

void TellSystem(const char* format, ...) {
  char line[256];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  platform::Machine().SystemLog("mosdaemon", LOG_INFO, line);
}

}  // namespace Mos

#include "common/dev/i2c/chips/nulldev_dev.h"

#include "common/log/logger_mgr.h"

namespace Dev {

int NULLDEVDev::DoReq(char*, int, char*, int, Act) {
  Logger::logger_mgr::print(Logger::nulldevL, Logger::kDebug, 0, "HERE NULLDEV %x\n",
                            static_cast<unsigned>(_addr));
  return 0;
}

}  // namespace Dev

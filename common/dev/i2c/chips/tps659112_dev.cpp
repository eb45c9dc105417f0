#include "common/dev/i2c/chips/tps659112_dev.h"

#include "common/log/logger_mgr.h"

namespace Dev {

int TPS659112Dev::Read() {
  Logger::logger_mgr::print(Logger::tps659112L, Logger::kDebug, 0, "HERE TPS659112 %x\n",
                            static_cast<unsigned>(_addr));
  return 0;
}

}  // namespace Dev

#include "common/dev/i2c/chips/tps659112_dev.h"

#include "common/log/log_line.h"

namespace Dev {

int TPS659112Dev::Read() {
  Q5_LOG_DEBUG(tps659112L, "HERE TPS659112 %x\n", static_cast<unsigned>(_addr));
  return 0;
}

}  // namespace Dev

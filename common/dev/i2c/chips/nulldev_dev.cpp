#include "common/dev/i2c/chips/nulldev_dev.h"

#include "common/log/log_line.h"

namespace Dev {

int NULLDEVDev::DoReq(char*, int, char*, int, Act) {
  Q5_LOG_DEBUG(nulldevL, "HERE NULLDEV %x\n", static_cast<unsigned>(_addr));
  return 0;
}

}  // namespace Dev

#include "common/dev/i2c/bus/i2c_req.h"

#include "common/log/log_line.h"

namespace Dev {

void I2cReq::Show(int level) const {
  Q5_LOG_AT(level, i2cmainL, "<i2c-req act=%d stat=%d len=%d len2=%d</i2c-req>\n", int{_act},
            _status, _len, _len2);
}

}  // namespace Dev

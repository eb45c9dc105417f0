#include "common/dev/i2c/bus/set_safety.h"

#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/safety_nak.h"

namespace Dev {

void SetSafety(int result, I2cDev* device) {
  const I2cDevInfo& info = device->GetInfo();
  Q5_LOG_DEBUG(i2cmainL, "<warn func=SetSafety result=%d key=%s/>\n", result,
               device->GetKey().c_str());
  Msg::safetyFault.Add(Msg::NAK_MCODE_I2CREAD_SAFE, info._addr, info._mid, info._aid);
}

}  // namespace Dev

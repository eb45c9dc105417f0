// One request to the I2C worker.
#pragma once

#include <array>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/i2c_info.h"

namespace Dev {

/// The device's own DoReq gives `_len` and `_len2` their meaning: by default lengths of `_buf`
/// and `_buf2`, which then must not exceed them.
struct I2cReq {
  static constexpr int kBytes = 256;

  std::array<char, kBytes> _buf{};  ///< what goes out, or what do_read brought
  int _len = 0;
  std::array<char, kBytes> _buf2{};  ///< what do_wread brought
  int _len2 = 0;
  int _status = -1;  ///< result of the transfer
  I2cDev::Act _act = I2cDev::do_read;
  I2cDevInfo _dev_info{};  ///< names the device by its key; the rest does not matter

  void Show(int level) const;
};

}  // namespace Dev

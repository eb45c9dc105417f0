// The serial EEPROM of a board: identity, revision, dates and calibration.
#pragma once

#include <array>

#include "common/dev/i2c/bus/i2c_dev.h"

namespace Dev {

class ChipPath;

class EE24LC32Dev : public I2cDev {
 public:
  static constexpr int kBufferSize = 65536;

  using I2cDev::I2cDev;
  using I2cDev::Read;

  /// Nothing: the chip is read by request.
  int Read() override;

  /// Reads into GetData(), 0xFF behind what was read:
  ///   len2 0                    `len` bytes from chip address 0
  ///   len2 above 0, do_rawread  `len2` bytes from chip address `len`
  ///   len2 above 0, else        `len2` and as many more bytes as the 16-bit word at chip address
  ///                             `len2` + 3 says, from chip address 0
  /// 0 or -1, never a count.
  int DoReq(char* buf, int len, char* buf2, int len2, Act act) override;

  /// What the last request of any of these devices read. Written by the I2C worker; a reader takes
  /// it right after its own request, and there is one reader at a time.
  static const std::array<unsigned char, kBufferSize>& GetData();

 private:
  int Plan(ChipPath& path, int len, int len2, Act act);
  int ReadSequence(ChipPath& path, int address, int count);
};

}  // namespace Dev

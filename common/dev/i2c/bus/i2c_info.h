// What a row of the device table says of a chip: plain values, copied into the device.
#pragma once

#include <string>

namespace Dev {

struct I2cDevInfo {
  int _mid = 0;             ///< MODULE_ID for which the table was loaded
  int _aid = 0;             ///< ASSEMBLY_ID
  int _type = 0;            ///< DEV_TYPE
  int _num = 0;             ///< a chip can have several rows, one for each purpose
  int _rate = 0;            ///< scan rate code, see I2cJob; kNeverScanned for none
  char _bus = 0;            ///< 1 or 2
  unsigned char _hmux = 0;  ///< channel on the first multiplexer level; above 3: none
  unsigned char _lmux = 0;  ///< channel on the second
  char _addr = 0;           ///< 7-bit I2C address
  std::string _id{};        ///< the chip's name
  int _rev = 0;             ///< board revision
  bool _scanreq = false;    ///< read during a test, too

  std::string Key() const;
  void Show(int level) const;
};

inline constexpr int kNeverScanned = 999;

struct I2cMuxInfo {
  int _mid = 0;
  int _aid = 0;
  int _chns = 0;  ///< number of channels
  char _bus = 0;
  unsigned char _hmux = 0;
  unsigned char _lmux = 0;
  char _addr = 0;
  std::string _id{};
  int _rev = 0;
};

}  // namespace Dev

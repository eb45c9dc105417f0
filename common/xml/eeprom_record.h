// The compressed record of a board's EEPROM: a header of 11 bytes, an uncompressed block of any
// length, and a zlib stream whose content is an XML file.
//
//   0        11         11 + ucblocklen        11 + ucblocklen + len
//   | header | (block)  | stream               |
//
// Results: 0, or -1 with a line in the log, unless stated otherwise. Threads: one at a time.
#pragma once

#include <cstdint>
#include <cstdio>

namespace Dev {

/// Bytes of the largest chip; no record goes beyond.
inline constexpr int kEepromBytes = 65536;

inline constexpr std::uint16_t kEepromMagic = 0x1EDB;
inline constexpr std::uint8_t kEepromRev = 1;

/// At chip address 0, little-endian.
struct [[gnu::packed]] EEPROMhdr {
  std::uint16_t magic;
  std::uint8_t rev;
  std::uint32_t len;         ///< bytes of the stream
  std::uint16_t chksum;      ///< makes the 16-bit sum of the stream and of the nine other bytes 0
  std::uint16_t ucblocklen;  ///< bytes between header and stream
};
static_assert(sizeof(EEPROMhdr) == 11);

class EEPROMaccess {
 public:
  EEPROMaccess() = default;
  EEPROMaccess(const EEPROMaccess&) = delete;
  EEPROMaccess& operator=(const EEPROMaccess&) = delete;

  /// 0 when the chip can be used.
  virtual int openprom() = 0;
  /// Writes `count` bytes at chip address `address`; negative on failure.
  virtual int writeprom(unsigned char* data, int count, int address) = 0;
  /// Reads up to `count` bytes; returns how many, 0 at the end, negative on failure.
  virtual int readprom(unsigned char* data, int count, int address) = 0;
  virtual void closeprom() = 0;
  virtual ~EEPROMaccess() = default;

  /// Inflates the chip's record into the instrument's file `filename`. What was written before a
  /// failure, a wrong checksum say, stays on disk.
  int Read(const char* filename);
  /// Makes a record of the instrument's file `filename`, with space for `ucblocklen` bytes behind
  /// the header. `sizeOnly`: writes nothing, only counts.
  int Write(const char* filename, int ucblocklen, bool sizeOnly);

  /// Inflates `length` bytes at chip address `address` into `file` and adds them to `sum`. A stream
  /// that continues behind `length` counts as ended. 0, -1 when the file or the chip fails or the
  /// content is absurdly long, else zlib's code.
  int inflatefile(std::FILE* file, int length, int address, std::uint16_t& sum);
  /// Deflates `file` to chip address `address`, adds the stream's bytes to `sum` and their number
  /// to `length`. 0, -1 when the file or the chip fails or the chip is too small, else zlib's code.
  int deflatefile(std::FILE* file, int level, int address, std::uint16_t& sum, int& length);

  bool sizeOnly = false;
  int totalBytesWritten = 0;  ///< bytes of the last record written, the uncompressed block aside
};

}  // namespace Dev

// The module's EEPROM chips as the calibration group sees them; the bus that they hang on is
// above this folder and supplies the implementation.
//
// Threads: the start-up thread, one request at a time.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "common/xml/eeprom_record.h"

namespace Dev {

/// The boards whose chips are decoded in ways of their own.
enum class EepromKind : int { Other = 0, BackPlane = 1, MeasCh1 = 2, MeasCh2 = 3, MainRef = 4 };

struct EepromChip {
  int num;  ///< number of the assembly; names the chip's files
  EepromKind kind;
};

using EepromBytes = std::array<unsigned char, kEepromBytes>;

class EepromChips {
 public:
  virtual ~EepromChips() = default;

  /// The chips in the order of their keys; `place` below counts in this list, which never changes.
  virtual const std::vector<EepromChip>& List() = 0;
  /// Reads from chip address 0: `len` bytes when `last_block` is 0, else up to the end of the block
  /// at chip address `last_block`, whose length is at its byte 3. 0 or -1.
  virtual int Read(std::size_t place, int len, int last_block) = 0;
  /// What the last Read read, from chip address 0; bytes that it did not get are 0xFF.
  virtual const EepromBytes& Data() const = 0;
  /// Never null.
  virtual std::unique_ptr<EEPROMaccess> Access(std::size_t place) = 0;
};

}  // namespace Dev

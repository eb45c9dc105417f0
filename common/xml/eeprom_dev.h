// What the daemon remembers of the boards whose EEPROMs it has read.
//
// Threads: written at start-up; the flags that corrections read later are atomic.
#pragma once

#include <atomic>
#include <span>
#include <string>

#include "common/xml/eeprom_chips.h"

namespace Dev {

class eepromdev {
 public:
  eepromdev() = default;
  eepromdev(const eepromdev&) = delete;
  eepromdev& operator=(const eepromdev&) = delete;

  virtual int GetRevision() const { return revision; }
  /// A decimal number, or one or two capital letters, which count on from 100 ("A"), 126 ("AA").
  /// Null, and a text that is neither, leave the revision as it is.
  virtual void SetRevision(const char* text);
  virtual int GetCalRevision() const { return calrevision; }
  virtual void SetCalRevision(int rev) { calrevision = rev; }
  /// 1 if the date (DD, MM and YYYY with any single separators) is 20 May 2015 or later, else 0.
  virtual int ChkBrdCalDate(const char* text) const;
  virtual void SetName(std::string text) { name = std::move(text); }
  virtual ~eepromdev() = default;

 protected:
  std::atomic<int> revision{0};
  std::string name;
  std::atomic<int> calrevision{0};
};

// One object a board, made on first use. `calrev_*` is the revision of the board's calibration
// block; `action_*`, when not 0, gives the board's phase polynomials the opposite sign.

class BackplanePROM : public eepromdev {
 public:
  static BackplanePROM& GetBackplanePROM();
};

class MainRefEEPROM : public eepromdev {
 public:
  static MainRefEEPROM& GetMainRefEEPROM();
  std::atomic<int> action_11m{0};
  std::atomic<int> calrev_11m{0};
};

class MeasCh1EEPROM : public eepromdev {
 public:
  static MeasCh1EEPROM& GetMeasCh1EEPROM();
  std::atomic<int> action_3s{0};
  std::atomic<int> calrev_3s{0};
};

class MeasCh2EEPROM : public eepromdev {
 public:
  static MeasCh2EEPROM& GetMeasCh2EEPROM();
  std::atomic<int> action_4s{0};
  std::atomic<int> calrev_4s{0};
};

class PSCAssemblyEEPROM : public eepromdev {
 public:
  static PSCAssemblyEEPROM& GetPSCAssemblyEEPROM();
};

/// A board whose calibration the measurement module uses.
struct CalibratedBoard {
  EepromKind kind;
  const char* directory;
  const char* file;  ///< the final XML file
  eepromdev& board;
  std::atomic<int>& action;
  std::atomic<int>& calrev;
};
/// Channel 1, channel 2, main reference.
std::span<const CalibratedBoard> CalibratedBoards();

}  // namespace Dev

// The module's EEPROMs over I2C, for those who read records and calibration from them.
#pragma once

#include <memory>
#include <vector>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/xml/eeprom_chips.h"
#include "common/xml/eeprom_group.h"

namespace Dev {

/// Record access to one chip. Threads: the start-up thread.
class EEPROMi2caccess : public EEPROMaccess {
 public:
  /// Both outlive the object.
  EEPROMi2caccess(const I2cDevInfo& info, I2cMgr& manager) : dev(info), _i2cMgr(manager) {}

  int openprom() override { return 0; }
  /// Writes nothing and returns 0: chips are written where they are made.
  int writeprom(unsigned char*, int, int) override { return 0; }
  int readprom(unsigned char* data, int count, int address) override;
  void closeprom() override {}

 private:
  const I2cDevInfo& dev;
  I2cMgr& _i2cMgr;
};

class I2cEepromChips : public EepromChips {
 public:
  /// `manager` outlives the object.
  explicit I2cEepromChips(I2cMgr& manager) : _i2cMgr(manager) {}

  const std::vector<EepromChip>& List() override;
  int Read(std::size_t place, int len, int last_block) override;
  const EepromBytes& Data() const override;
  std::unique_ptr<EEPROMaccess> Access(std::size_t place) override;

 private:
  /// Every device of type EEPROM in the order of the keys, gathered on the first call.
  const std::vector<I2cDevInfo>& GetEePromDevInfoTbl();

  I2cMgr& _i2cMgr;
  std::vector<I2cDevInfo> infos_;
  std::vector<EepromChip> chips_;
};

/// The daemon's calibration group, made on the first call for the module of `state`, whose error
/// list it uses; the arguments of later calls are ignored.
EepromGroup& GetEepromGroup(I2cMgr& manager, Msg::HMPData& state, EepromLinks links = {});

}  // namespace Dev

#include "common/dev/i2c/chips/i2c_eeprom.h"

#include <algorithm>
#include <utility>

#include "common/dev/i2c/chips/ee24lc32_dev.h"

namespace Dev {
namespace {

/// As EE24LC32Dev::DoReq reads `len`, `len2` and `act`.
int Request(I2cMgr& manager, const I2cDevInfo& info, int len, int len2, I2cDev::Act act) {
  I2cReq request;
  request._len = len;
  request._len2 = len2;
  request._act = act;
  request._dev_info = info;
  return manager.I2cWkrExecReq(&request);
}

EepromKind KindOf(int aid) {
  switch (aid) {
    case BACK_PLANE:
      return EepromKind::BackPlane;
    case MEAS_CH1:
      return EepromKind::MeasCh1;
    case MEAS_CH2:
      return EepromKind::MeasCh2;
    case MAIN_REF:
      return EepromKind::MainRef;
    default:
      return EepromKind::Other;
  }
}

}  // namespace

int EEPROMi2caccess::readprom(unsigned char* data, int count, int address) {
  if (count == 0) return 0;
  if (Request(_i2cMgr, dev, address, count, I2cDev::do_rawread) < 0) return -1;
  std::copy_n(EE24LC32Dev::GetData().begin(), count, data);
  return count;
}

const std::vector<I2cDevInfo>& I2cEepromChips::GetEePromDevInfoTbl() {
  if (!infos_.empty()) return infos_;
  for (const auto& [key, device] : I2cDev::GetDevices()) {
    if (device->GetType() == EEPROM) infos_.push_back(device->GetInfo());
  }
  return infos_;
}

const std::vector<EepromChip>& I2cEepromChips::List() {
  if (chips_.empty()) {
    for (const I2cDevInfo& info : GetEePromDevInfoTbl()) {
      chips_.push_back({info._num, KindOf(info._aid)});
    }
  }
  return chips_;
}

int I2cEepromChips::Read(std::size_t place, int len, int last_block) {
  return Request(_i2cMgr, GetEePromDevInfoTbl()[place], len, last_block, I2cDev::do_read);
}

const EepromBytes& I2cEepromChips::Data() const { return EE24LC32Dev::GetData(); }

std::unique_ptr<EEPROMaccess> I2cEepromChips::Access(std::size_t place) {
  return std::make_unique<EEPROMi2caccess>(GetEePromDevInfoTbl()[place], _i2cMgr);
}

EepromGroup& GetEepromGroup(I2cMgr& manager, Msg::HMPData& state, EepromLinks links) {
  static I2cEepromChips chips(manager);
  static EepromGroup group(state.module, chips, state, std::move(links));
  return group;
}

}  // namespace Dev

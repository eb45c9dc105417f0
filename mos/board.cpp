// The board at start-up: I2C, the channels' identity, calibration, and a first configuration.
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/zpubsub/records/xml_post.h"
#include "mos/meas_mgr.h"

namespace Mos {

using Logger::kInfo;
using Msg::ghmp;

namespace {

constexpr int kChannels[] = {0, 1};

}  // namespace

int MeasMgr::StartBoard(int revision) {
  Dev::RegisterDrivers();
  if (_i2cMgr.Init(Msg::MEAS_MODULE, revision, *ghmp) < 0) return -1;
  if (_i2cMgr.Start() != 0) return -1;
  IdentifyChannels();
  // which sensors the channel boards have follows from their identity
  StopI2cScanner();
  _i2cMgr.appndDevTbl(Msg::MEAS_MODULE, revision);
  _i2cMgr.appndPerScanList();
  StartI2cScanner();
  return 0;
}

void MeasMgr::IdentifyChannels() {
  for (int channel : kChannels) {
    Dev::MeasChCpldIdRev version;
    GetMeasChVersion(channel, version);  // a channel that does not answer keeps identity 0
    version.Show(kInfo);
    Q5_LOG_INFO_HERE(measurementL, "%s.%d: cpldId:0x%04X  revision:0x%04X\n",
                     static_cast<unsigned>(version.cpldId),
                     static_cast<unsigned>(version.revision));
    ghmp->SetCPLDRevInfo(channel, static_cast<short>(version.cpldId),
                         static_cast<short>(version.revision));
  }
}

bool MeasMgr::ReadCalibration() {
  Dev::EepromGroup& group = Dev::GetEepromGroup(_i2cMgr, *ghmp, inter_module_.CalibrationLinks());
  if (_skip_ee2xml != 0) {
    group.xml_post_result(IMSG::kXmlPostPass, 0);
  } else {
    group.WriteEepromToXml(nullptr);
  }
  int error = 0;
  if (group.ReadEeDataFromXml(error) != -1 && error != -1) return true;
  Q5_LOG_ERROR(measurementL, "XML PROCESSING ERROR\n");
  ghmp->SetStickyError(Msg::NAK_MCODE_EEPROMXML);
  ghmp->SetErrorCode(Msg::NAK_MCODE_EEPROMXML);
  return false;
}

void MeasMgr::PrepareChannels(bool calibrated) {
  for (int channel : kChannels) IniMeasChI2cSpiBridge(channel);
  IdentifyChannels();
  CreateChannels();
  constexpr const Dev::MeasChCfgReg* kConfigs[] = {&Dev::cfg03_filter, &Dev::cfg04_filter};
  for (int channel : kChannels) {
    const Dev::MeasChCfgReg& config = *kConfigs[channel];
    SetMeasChCfgReg(channel, config, false);
    if (calibrated) filters_.CorrectForFilter(channel, config.GetFilter());
  }
}

}  // namespace Mos

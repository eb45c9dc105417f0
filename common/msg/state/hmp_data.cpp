#include "common/msg/state/hmp_data.h"

#include <utility>

namespace Msg {

HmpPointer ghmp;

HMPData& HMPData::GetHMPData(libconfig::Config& config, int module) {
  static HMPData data(config, module);
  ghmp.Set(&data);
  return data;
}

HMPData::HMPData(libconfig::Config& config, int its_module)
    : Errorcodes(its_module),
      ConfigData(config, its_module),
      EarlyDcOffset(its_module),
      ModuleDrives(its_module) {}

void HMPData::SetInternalSensors(std::vector<int> ids) { intsens_table = std::move(ids); }

bool HMPData::IsDFRTest() const {
  const Input_Mode voltage = IsSourceModule() ? measCh2_mode : measCh1_mode;
  const Input_Mode current = IsSourceModule() ? measCh1_mode : measCh2_mode;
  return voltage == AC_Volt && current == ACDC_Current;
}

void HMPData::ResetVariables() {
  if (!IsMeasModule()) return;
  firstUpdate = false;
  SetStartTest(false);
  curange = 0;
}

}  // namespace Msg

#include "common/msg/state/hmp_data.h"

namespace Msg {

HmpPointer ghmp;

HMPData& HMPData::GetHMPData(libconfig::Config& config, int module) {
  static HMPData data(config, module);
  ghmp.Set(&data);
  return data;
}

HMPData::HMPData(libconfig::Config& config, int its_module)
    : Errorcodes(its_module), ConfigData(config, its_module) {}

void HMPData::SetInternalSensors(std::vector<int> ids) { intsens_table = std::move(ids); }

}  // namespace Msg

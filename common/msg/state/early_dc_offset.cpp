#include "common/msg/state/early_dc_offset.h"

#include "common/msg/records/module_id.h"

namespace Msg {
namespace {

constexpr bool IsChannel(int channel) { return channel == 0 || channel == 1; }

}  // namespace

int EarlyDcOffset::SetEarlyDCOffset(int channel) {
  if (!IsChannel(channel)) return -1;
  const platform::Lock lock(dcoffsetmutex);
  const auto own = static_cast<std::size_t>(channel);
  if (!earlyDCoffset[own] && earlyDCoffset[1 - own]) measearlyDCoffset = true;
  earlyDCoffset[own] = true;
  return 0;
}

int EarlyDcOffset::ClearEarlyDCOffset(int channel) {
  if (!IsChannel(channel)) return -1;
  const platform::Lock lock(dcoffsetmutex);
  earlyDCoffset[static_cast<std::size_t>(channel)] = false;
  if (offset_module_ == MEAS_MODULE) measearlyDCoffset = false;
  return 0;
}

int EarlyDcOffset::ClearEarlyDCOffset() {
  const platform::Lock lock(dcoffsetmutex);
  earlyDCoffset = {};
  measearlyDCoffset = false;
  return 0;
}

bool EarlyDcOffset::GetEarlyDCOffset() const {
  const platform::Lock lock(dcoffsetmutex);
  const bool both = earlyDCoffset[0] && earlyDCoffset[1];
  return both && (offset_module_ != SOURCE_MODULE || measearlyDCoffset);
}

bool EarlyDcOffset::GetEarlyDCOffset(int channel) const {
  if (!IsChannel(channel)) return false;
  const platform::Lock lock(dcoffsetmutex);
  return earlyDCoffset[static_cast<std::size_t>(channel)];
}

}  // namespace Msg

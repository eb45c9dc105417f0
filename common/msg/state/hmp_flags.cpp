// Flags between threads: consumer flag, early DC offset, leave to ramp.
#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {
namespace {

constexpr struct {
  unsigned changer;
  const char* name;
} kConsumerCallers[] = {
    {eConsChanger_SOS, "SOS"},
    {eConsChanger_MOS, "MOS"},
    {eConsChanger_ACQ_CH1, "AcqCh1"},
    {eConsChanger_ACQ_CH2, "AcqCh2"},
};

const char* CallerName(unsigned changer) {
  for (const auto& row : kConsumerCallers) {
    if (row.changer == changer) return row.name;
  }
  return "unknown";
}

constexpr bool IsChannel(int channel) { return channel >= 0 && channel < HMPData::kChannels; }

}  // namespace

void HMPData::SetStartTest(bool started) { testStart = started; }
void HMPData::SetRampAllowed(bool allowed) { rampallowed = allowed; }
bool HMPData::IsRampAllowed() const { return rampallowed; }
void HMPData::SetLVSFilterRelay(bool set) { lvsfilterrelay = set; }
bool HMPData::GetLVSFilterRelay() const { return lvsfilterrelay; }

void HMPData::ChangeConsumerFlag(bool set, unsigned changer) {
  const std::lock_guard lock(consumerlock);
  const unsigned before = resetConsumer;
  const unsigned after = set ? before | changer : before & ~changer;
  resetConsumer = after;
  const char* caller = CallerName(changer);
  if ((before == 0) != (after == 0)) {
    logger_mgr::print(msgL, Logger::kInfo, 0, "%s.%d:caller:%s flag:0x%02X ConsumerFlag %s\n",
                      __func__, __LINE__, caller, after, after != 0 ? "set" : "cleared");
  } else {
    logger_mgr::print(msgL, Logger::kInfo, 0, "%s.%d:caller:%s flag:0x%02X\n", __func__, __LINE__,
                      caller, after);
  }
}

int HMPData::SetEarlyDCOffset(int channel) {
  if (!IsChannel(channel)) return -1;
  const std::lock_guard lock(dcoffsetmutex);
  const auto own = static_cast<std::size_t>(channel);
  const bool was_set = earlyDCoffset[own].exchange(true);
  if (!was_set && earlyDCoffset[1 - own]) measearlyDCoffset = true;
  return 0;
}

int HMPData::ClearEarlyDCOffset(int channel) {
  if (!IsChannel(channel)) return -1;
  const std::lock_guard lock(dcoffsetmutex);
  earlyDCoffset[static_cast<std::size_t>(channel)] = false;
  if (IsMeasModule()) measearlyDCoffset = false;
  return 0;
}

int HMPData::ClearEarlyDCOffset() {
  const std::lock_guard lock(dcoffsetmutex);
  for (auto& flag : earlyDCoffset) flag = false;
  measearlyDCoffset = false;
  return 0;
}

bool HMPData::GetEarlyDCOffset() const {
  const std::lock_guard lock(dcoffsetmutex);
  const bool both = earlyDCoffset[0] && earlyDCoffset[1];
  return both && (!IsSourceModule() || measearlyDCoffset);
}

bool HMPData::GetEarlyDCOffset(int channel) const {
  if (!IsChannel(channel)) return false;
  const std::lock_guard lock(dcoffsetmutex);
  return earlyDCoffset[static_cast<std::size_t>(channel)];
}

}  // namespace Msg

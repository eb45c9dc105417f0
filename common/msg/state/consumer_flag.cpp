#include "common/msg/state/consumer_flag.h"

#include "common/log/log_line.h"

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

}  // namespace

void ConsumerFlag::ChangeConsumerFlag(bool set, unsigned changer) {
  const std::lock_guard lock(consumerlock);
  const unsigned before = resetConsumer;
  const unsigned after = set ? before | changer : before & ~changer;
  resetConsumer = after;
  const char* caller = CallerName(changer);
  if ((before == 0) != (after == 0)) {
    Q5_LOG_INFO_HERE(msgL, "%s.%d:caller:%s flag:0x%02X ConsumerFlag %s\n", caller, after,
                     after != 0 ? "set" : "cleared");
  } else {
    Q5_LOG_INFO_HERE(msgL, "%s.%d:caller:%s flag:0x%02X\n", caller, after);
  }
}

}  // namespace Msg
